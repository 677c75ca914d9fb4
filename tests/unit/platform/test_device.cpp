#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <regex>
#include <set>

#include "platform/QMUUID.h"
#include "platform/UIDevice.h"

namespace veyrakit {

TEST(Device, FactsComeFromUnameUnlessOverridden) {
    utsname system{};
    ASSERT_EQ(uname(&system), 0);
    auto device = UIDevice::currentDevice();
    EXPECT_EQ(device, UIDevice::currentDevice());
    EXPECT_EQ(device->model(), system.machine);
    EXPECT_EQ(device->systemName(), system.sysname);
    EXPECT_EQ(device->systemVersion(), system.release);

    UIDevice::overrideFacts("iPhone", "iOS", "17.0");
    EXPECT_EQ(device->model(), "iPhone");
    EXPECT_EQ(device->systemName(), "iOS");
    EXPECT_EQ(device->systemVersion(), "17.0");

    UIDevice::overrideFacts(std::nullopt, "iOS", std::nullopt);  // only some facts
    EXPECT_EQ(device->model(), system.machine);
    EXPECT_EQ(device->systemName(), "iOS");

    UIDevice::clearOverride();
    EXPECT_EQ(device->systemName(), system.sysname);
}

TEST(UUID, RandomVersionFourInUpperCaseCanonicalForm) {
    const std::regex canonical("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 200; ++i) {
        const std::string id = QMUUID::UUIDString();
        EXPECT_TRUE(std::regex_match(id, canonical)) << id;
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 200u);
}

}  // namespace veyrakit
