#pragma once
#include <any>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// Key-value observation options and change-dictionary keys, as on the platform.
enum QMKeyValueObservingOptions : unsigned {
    NSKeyValueObservingOptionNew = 0x01,
    NSKeyValueObservingOptionOld = 0x02,
};
inline constexpr const char* NSKeyValueChangeKindKey = "kind";
inline constexpr const char* NSKeyValueChangeNewKey = "new";
inline constexpr const char* NSKeyValueChangeOldKey = "old";
// The only change kind this layer produces (a property was set), as a std::any holding unsigned.
inline constexpr unsigned NSKeyValueChangeSetting = 1;

// The change dictionary handed to observers: NSKeyValueChangeKindKey is always there;
// NSKeyValueChangeNewKey / NSKeyValueChangeOldKey hold the new / old value (as a std::any) when
// the observer asked for it and the setter supplied it.
using QMKeyValueChange = std::map<std::string, std::any>;

// Root of every class of the library: shared ownership, identity, a description used by `%@`,
// and key-value observation with the platform's semantics (synchronous delivery on the
// changing thread, removal of an unregistered observation throws, observers may remove
// themselves or others while a change is being delivered). Observation is used on the main
// loop's thread only (delivery is checked in debug builds), so it takes no lock; className()
// and description() are safe from any thread.
class VEYRAKIT_EXPORT QMObject : public std::enable_shared_from_this<QMObject> {
  public:
    QMObject();
    virtual ~QMObject();
    QMObject(const QMObject&) = delete;
    QMObject& operator=(const QMObject&) = delete;

    // "<ClassName: 0x...>" by default.
    virtual std::string description() const;
    std::string className() const;

    // Observation of `keyPath` (a single key) on this object. The observer is not retained.
    void addObserver(QMObject* observer, const std::string& keyPath, unsigned options, void* context);
    // Removes the matching observation (the most recent one when several match); throws
    // QMInvalidArgumentException when there is none, as the platform does.
    void removeObserver(QMObject* observer, const std::string& keyPath);
    void removeObserver(QMObject* observer, const std::string& keyPath, void* context);
    std::size_t observationCount() const;  // for tests: registrations currently held
    // Registrations held by every object still alive, process-wide: what nobody removed yet.
    static std::size_t liveObservationCount();

    // Called by observed objects around a change. didChangeValueForKey delivers to every
    // observer registered for the key at that moment, in registration order.
    void willChangeValueForKey(const std::string& key);
    void willChangeValueForKey(const std::string& key, std::any oldValue);  // supplies the old value
    void didChangeValueForKey(const std::string& key);
    void didChangeValueForKey(const std::string& key, const std::any& newValue);

    // Receives changes of observed objects. The default does nothing.
    virtual void observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                        const QMKeyValueChange& change, void* context);

    template <typename T>
    std::shared_ptr<T> selfAs() {
        return std::dynamic_pointer_cast<T>(shared_from_this());
    }

  private:
    struct Observation;
    void deliverChange(const std::string& key, const std::any* newValue);
    std::shared_ptr<Observation> takeObservation(QMObject* observer, const std::string& keyPath,
                                                 bool matchContext, void* context);

    // Expires when this object dies, so that observations it registered elsewhere (which do not
    // retain it) are skipped instead of calling into a dead object.
    std::shared_ptr<const char> liveness_;
    std::vector<std::shared_ptr<Observation>> observations_;
    std::map<std::string, std::any> pendingOldValues_;
};

}  // namespace veyrakit
