#pragma once
#include <memory>
#include <string>

#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// Observes a notification for `observer`, which must have a shared owner. The centre does not own
// its observers: the handler holds the observer only while it runs, and does nothing once the
// observer is gone. The observation ends with removeObserver(&observer, ...).
template <typename Observer, typename Action>
void observeWhileAlive(Observer& observer, const std::string& name, const QMObject* sender, Action action) {
    std::weak_ptr<Observer> weakObserver = observer.template selfAs<Observer>();
    QMNotificationCenter::defaultCenter()->addObserver(
        &observer, name, sender, [weakObserver, action](const QMNotification& notification) {
            if (auto self = weakObserver.lock()) {
                action(*self, notification);
            }
        });
}

// The same, handled by a member that takes the notification.
template <typename Observer>
void observeWhileAlive(Observer& observer, const std::string& name, const QMObject* sender,
                       void (Observer::*handler)(const QMNotification&)) {
    observeWhileAlive(observer, name, sender, [handler](Observer& self, const QMNotification& notification) {
        (self.*handler)(notification);
    });
}

}  // namespace veyrakit
