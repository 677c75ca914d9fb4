#pragma once
#include <memory>
#include <optional>
#include <string>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Device facts for the User-Agent. Read from uname(2): model = machine ("x86_64"), systemName =
// sysname ("Linux"), systemVersion = release. Tests override them. Read and overridden on the main
// loop's thread only, so nothing is locked.
class VEYRAKIT_EXPORT UIDevice : public QMObject {
  public:
    static std::shared_ptr<UIDevice> currentDevice();
    static void overrideFacts(std::optional<std::string> model, std::optional<std::string> systemName,
                              std::optional<std::string> systemVersion);
    static void clearOverride();

    std::string model() const;
    std::string systemName() const;
    std::string systemVersion() const;
};

}  // namespace veyrakit
