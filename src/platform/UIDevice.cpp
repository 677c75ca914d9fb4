#include "platform/UIDevice.h"

#include <sys/utsname.h>

namespace veyrakit {

namespace {

struct DeviceFacts {
    std::optional<std::string> model;
    std::optional<std::string> systemName;
    std::optional<std::string> systemVersion;
};

DeviceFacts overridden;

const utsname& systemFacts() {
    static const utsname facts = [] {
        utsname name{};
        uname(&name);
        return name;
    }();
    return facts;
}

std::string factOrOverride(std::optional<std::string> DeviceFacts::*fact, const char* systemValue) {
    const auto& value = overridden.*fact;
    return value ? *value : systemValue;
}

}  // namespace

std::shared_ptr<UIDevice> UIDevice::currentDevice() {
    static const auto device = std::make_shared<UIDevice>();
    return device;
}

void UIDevice::overrideFacts(std::optional<std::string> model, std::optional<std::string> systemName,
                             std::optional<std::string> systemVersion) {
    overridden = DeviceFacts{std::move(model), std::move(systemName), std::move(systemVersion)};
}

void UIDevice::clearOverride() { overridden = DeviceFacts{}; }

std::string UIDevice::model() const { return factOrOverride(&DeviceFacts::model, systemFacts().machine); }

std::string UIDevice::systemName() const {
    return factOrOverride(&DeviceFacts::systemName, systemFacts().sysname);
}

std::string UIDevice::systemVersion() const {
    return factOrOverride(&DeviceFacts::systemVersion, systemFacts().release);
}

}  // namespace veyrakit
