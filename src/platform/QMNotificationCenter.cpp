#include "veyrakit/platform/QMNotificationCenter.h"

#include <algorithm>

#include "platform/QMThreadChecker.h"

namespace veyrakit {

struct QMNotificationCenter::Registration {
    const void* observer;
    std::string name;        // empty: every name
    const QMObject* sender;  // nullptr: every sender
    Handler handler;
    // Set on removal, so that a delivery already under way skips the registration.
    bool removed = false;

    bool matches(const std::string& postedName, const QMObject* postedSender) const {
        return (name.empty() || name == postedName) && (!sender || sender == postedSender);
    }
};

QMNotification::QMNotification(std::string name, std::shared_ptr<QMObject> object, QMUserInfo userInfo)
    : name_(std::move(name)), object_(std::move(object)), userInfo_(std::move(userInfo)) {}

std::shared_ptr<QMNotificationCenter> QMNotificationCenter::defaultCenter() {
    static const auto center = std::make_shared<QMNotificationCenter>();
    return center;
}

void QMNotificationCenter::addObserver(const void* observer, const std::string& name, const QMObject* sender,
                                       Handler handler) {
    auto registration = std::make_shared<Registration>();
    registration->observer = observer;
    registration->name = name;
    registration->sender = sender;
    registration->handler = std::move(handler);
    registrations_.push_back(std::move(registration));
}

namespace {

// Removes what `matches` selects. A handler running right now stays alive through the delivery's
// own reference, so a handler may remove itself.
template <typename Registrations, typename Predicate>
void removeMatching(Registrations& registrations, Predicate matches) {
    auto firstRemoved =
        std::stable_partition(registrations.begin(), registrations.end(),
                              [&](const auto& registration) { return !matches(*registration); });
    for (auto it = firstRemoved; it != registrations.end(); ++it) {
        (*it)->removed = true;
    }
    registrations.erase(firstRemoved, registrations.end());
}

}  // namespace

void QMNotificationCenter::removeObserver(const void* observer) {
    removeMatching(registrations_, [&](const Registration& r) { return r.observer == observer; });
}

void QMNotificationCenter::removeObserver(const void* observer, const std::string& name) {
    removeMatching(registrations_, [&](const Registration& r) {
        return r.observer == observer && (name.empty() || r.name == name);
    });
}

void QMNotificationCenter::removeObserver(const void* observer, const std::string& name,
                                          const QMObject* sender) {
    removeMatching(registrations_, [&](const Registration& r) {
        return r.observer == observer && (name.empty() || r.name == name) && (!sender || r.sender == sender);
    });
}

void QMNotificationCenter::postNotificationName(const std::string& name, std::shared_ptr<QMObject> object,
                                                QMUserInfo userInfo) {
    QM_DCHECK_ON_MAIN_LOOP_THREAD("QMNotificationCenter::postNotificationName(\"" + name + "\")");
    const auto notification = std::make_shared<QMNotification>(name, std::move(object), std::move(userInfo));
    std::vector<std::shared_ptr<Registration>> recipients;
    for (const auto& registration : registrations_) {
        if (registration->matches(name, notification->object().get())) {
            recipients.push_back(registration);
        }
    }
    // Handlers run on a snapshot, so that they may post, add or remove freely.
    for (const auto& registration : recipients) {
        if (!registration->removed && registration->handler) {
            registration->handler(*notification);
        }
    }
}

std::size_t QMNotificationCenter::observerCount() const { return registrations_.size(); }

}  // namespace veyrakit
