#include "veyrakit/platform/QMObject.h"

#include <cxxabi.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <typeindex>
#include <unordered_map>

#include "platform/QMException.h"
#include "platform/QMThreadChecker.h"

namespace veyrakit {

struct QMObject::Observation {
    QMObject* observer;
    std::weak_ptr<const char> observerAlive;
    std::string keyPath;
    unsigned options;
    void* context;
    // Set on removal, so that a delivery already under way skips the observation.
    bool removed = false;
};

namespace {

std::string demangledName(const std::type_info& type) {
    // Any thread may describe an object (a URL session completion logging an error, say).
    static std::mutex cacheMutex;
    static std::unordered_map<std::type_index, std::string> cache;
    std::lock_guard<std::mutex> lock(cacheMutex);
    auto found = cache.find(type);
    if (found != cache.end()) {
        return found->second;
    }
    int status = 0;
    char* raw = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
    std::string name = (status == 0 && raw) ? raw : type.name();
    std::free(raw);
    // Class names are the system's own ("QMVeyraPlugin"): the C++ namespace is not part of them.
    constexpr std::string_view kNamespace = "veyrakit::";
    if (name.starts_with(kNamespace)) {
        name.erase(0, kNamespace.size());
    }
    return cache.emplace(type, name).first->second;
}

std::string pointerText(const void* p) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%p", p);
    return buffer;
}

// "<ClassName" separator "0x...>". Built by appending: GCC 12 misreads `"<" + string` at -O2
// as an overlapping copy (-Wrestrict).
std::string classAndAddress(const QMObject* object, const char* separator) {
    std::string text;
    text += '<';
    text += object->className();
    text += separator;
    text += pointerText(object);
    text += '>';
    return text;
}

// The platform names the parties of a failed removal as "<ClassName 0x...>".
std::string removalParty(const QMObject* object) {
    return object ? classAndAddress(object, " ") : "<(null) 0x0>";
}

// Registrations held by live objects; an object's own registrations end with it.
std::atomic<std::size_t> liveObservations{0};

QMInvalidArgumentException notRegistered(const QMObject* observer, const std::string& keyPath,
                                         const QMObject* object) {
    return QMInvalidArgumentException("Cannot remove an observer " + removalParty(observer) +
                                      " for the key path \"" + keyPath + "\" from " + removalParty(object) +
                                      " because it is not registered as an observer.");
}

}  // namespace

QMObject::QMObject() : liveness_(std::make_shared<const char>('\0')) {}

QMObject::~QMObject() { liveObservations -= observations_.size(); }

std::string QMObject::className() const { return demangledName(typeid(*this)); }

std::string QMObject::description() const { return classAndAddress(this, ": "); }

void QMObject::addObserver(QMObject* observer, const std::string& keyPath, unsigned options, void* context) {
    auto observation = std::make_shared<Observation>();
    observation->observer = observer;
    if (observer) {
        observation->observerAlive = observer->liveness_;
    }
    observation->keyPath = keyPath;
    observation->options = options;
    observation->context = context;
    observations_.push_back(std::move(observation));
    ++liveObservations;
}

std::shared_ptr<QMObject::Observation> QMObject::takeObservation(QMObject* observer,
                                                                 const std::string& keyPath,
                                                                 bool matchContext, void* context) {
    for (auto it = observations_.rbegin(); it != observations_.rend(); ++it) {
        const Observation& candidate = **it;
        if (candidate.observer == observer && candidate.keyPath == keyPath &&
            (!matchContext || candidate.context == context)) {
            auto taken = *it;
            observations_.erase(std::next(it).base());
            --liveObservations;
            return taken;
        }
    }
    return nullptr;
}

void QMObject::removeObserver(QMObject* observer, const std::string& keyPath) {
    auto taken = takeObservation(observer, keyPath, false, nullptr);
    if (!taken) {
        throw notRegistered(observer, keyPath, this);
    }
    taken->removed = true;
}

void QMObject::removeObserver(QMObject* observer, const std::string& keyPath, void* context) {
    auto taken = takeObservation(observer, keyPath, true, context);
    if (!taken) {
        throw notRegistered(observer, keyPath, this);
    }
    taken->removed = true;
}

std::size_t QMObject::observationCount() const { return observations_.size(); }

std::size_t QMObject::liveObservationCount() { return liveObservations.load(); }

void QMObject::willChangeValueForKey(const std::string& key) {}

void QMObject::willChangeValueForKey(const std::string& key, std::any oldValue) {
    pendingOldValues_[key] = std::move(oldValue);
}

void QMObject::didChangeValueForKey(const std::string& key) { deliverChange(key, nullptr); }

void QMObject::didChangeValueForKey(const std::string& key, const std::any& newValue) {
    deliverChange(key, &newValue);
}

void QMObject::deliverChange(const std::string& key, const std::any* newValue) {
    QM_DCHECK_ON_MAIN_LOOP_THREAD("didChangeValueForKey(\"" + key + "\") on " + description());
    // An observer may drop the last owner of this object while it is being told; keep it alive
    // until every observer has been told.
    auto keepAlive = weak_from_this().lock();
    std::vector<std::shared_ptr<Observation>> recipients;
    std::any oldValue;
    bool hasOldValue = false;
    auto pending = pendingOldValues_.find(key);
    if (pending != pendingOldValues_.end()) {
        oldValue = std::move(pending->second);
        hasOldValue = true;
        pendingOldValues_.erase(pending);
    }
    // A snapshot: observers may add or remove observations while they are being told.
    for (const auto& observation : observations_) {
        if (observation->keyPath == key) {
            recipients.push_back(observation);
        }
    }
    for (const auto& observation : recipients) {
        if (observation->removed) {
            continue;
        }
        auto alive = observation->observerAlive.lock();
        if (!alive) {
            continue;
        }
        QMKeyValueChange change;
        change[NSKeyValueChangeKindKey] = NSKeyValueChangeSetting;
        if (newValue && (observation->options & NSKeyValueObservingOptionNew)) {
            change[NSKeyValueChangeNewKey] = *newValue;
        }
        if (hasOldValue && (observation->options & NSKeyValueObservingOptionOld)) {
            change[NSKeyValueChangeOldKey] = oldValue;
        }
        observation->observer->observeValueForKeyPath(key, this, change, observation->context);
    }
}

void QMObject::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                      const QMKeyValueChange& change, void* context) {}

}  // namespace veyrakit
