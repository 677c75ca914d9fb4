#pragma once
#include <any>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

using QMUserInfo = std::map<std::string, std::any>;

class VEYRAKIT_EXPORT QMNotification : public QMObject {
  public:
    QMNotification(std::string name, std::shared_ptr<QMObject> object, QMUserInfo userInfo);
    const std::string& name() const { return name_; }
    const std::shared_ptr<QMObject>& object() const { return object_; }
    const QMUserInfo& userInfo() const { return userInfo_; }

  private:
    std::string name_;
    std::shared_ptr<QMObject> object_;
    QMUserInfo userInfo_;
};

// Synchronous notification centre: handlers run on the posting thread, in registration order;
// an observer removed while a notification is being delivered is not called afterwards. Used on
// the main loop's thread only (posting is checked in debug builds), so nothing is locked.
class VEYRAKIT_EXPORT QMNotificationCenter : public QMObject {
  public:
    using Handler = std::function<void(const QMNotification&)>;

    static std::shared_ptr<QMNotificationCenter> defaultCenter();

    // sender == nullptr observes the name from any sender; an empty name observes every name. The
    // observer pointer is identity only (not retained); whatever the handler captures is held
    // until the observer is removed. In the removals an empty name / nullptr sender match any.
    void addObserver(const void* observer, const std::string& name, const QMObject* sender, Handler handler);
    void removeObserver(const void* observer);
    void removeObserver(const void* observer, const std::string& name);
    void removeObserver(const void* observer, const std::string& name, const QMObject* sender);

    void postNotificationName(const std::string& name, std::shared_ptr<QMObject> object,
                              QMUserInfo userInfo = {});
    std::size_t observerCount() const;  // for tests

  private:
    struct Registration;
    std::vector<std::shared_ptr<Registration>> registrations_;
};

}  // namespace veyrakit
