#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "platform/QMConsole.h"
#include "platform/QMFileManager.h"
#include "platform/QMUserDefaults.h"
#include "support/QMConsoleCapture.h"
#include "support/QMTestEnvironment.h"

namespace veyrakit {

namespace {

// The fixture gives a private temporary directory and restores the defaults location after.
class UserDefaultsTest : public QMVirtualTimeTest {
  protected:
    static std::string read(const std::string& p) {
        return QMFileManager::defaultManager()->contentsAtPath(p).value_or("<none>");
    }

    std::string dir;
    std::string path;
    QMConsoleCapture capture;

    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        dir = tempDir();
        path = dir + "/prefs/defaults.json";
    }
};

}  // namespace

TEST_F(UserDefaultsTest, ValuesPersistAtTheConfiguredPathAndReloadAfterReset) {
    setenv("VEYRAKIT_DEFAULTS_PATH", path.c_str(), 1);
    auto defaults = QMUserDefaults::standardUserDefaults();
    EXPECT_EQ(defaults, QMUserDefaults::standardUserDefaults());
    defaults->setObject("V-42", "viewerId");
    defaults->setObject(7, "count");
    defaults->setObject("x", "gone");
    defaults->setObject(nullptr, "gone");  // storing nothing removes
    EXPECT_TRUE(defaults->synchronize());

    EXPECT_EQ(read(path), "{\n  \"viewerId\" : \"V-42\",\n  \"count\" : 7\n}\n");
    QMUserDefaults::resetStandardUserDefaults();
    auto reloaded = QMUserDefaults::standardUserDefaults();
    EXPECT_NE(reloaded, defaults);
    EXPECT_EQ(reloaded->stringForKey("viewerId"), "V-42");
    EXPECT_EQ(reloaded->stringForKey("count"), std::nullopt);  // not a string
    EXPECT_EQ(reloaded->objectForKey("count"), QMJSON(7));
    EXPECT_EQ(reloaded->objectForKey("gone"), std::nullopt);
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir + "/prefs"), {}),
              1);  // no temporaries left
}

TEST_F(UserDefaultsTest, ChangesAreWrittenThroughAndEmptyIsNotAbsent) {
    QMUserDefaults(path).setObject("", "viewerId");
    EXPECT_EQ(QMUserDefaults(path).stringForKey("viewerId"), "");
    QMUserDefaults(path).removeObjectForKey("viewerId");
    EXPECT_EQ(QMUserDefaults(path).objectForKey("viewerId"), std::nullopt);
}

TEST_F(UserDefaultsTest, CorruptFileIsSetAsideWithAConsoleLineAndTheStoreStartsEmpty) {
    std::filesystem::create_directories(dir + "/prefs");
    for (const std::string contents : {"{\"viewerId\": \"V-1\"", "[\"an array\"]", ""}) {
        ASSERT_TRUE(QMFileManager::defaultManager()->createFileAtPath(path, contents));
        QMUserDefaults defaults(path);
        EXPECT_EQ(defaults.objectForKey("viewerId"), std::nullopt);
        EXPECT_EQ(read(path + ".corrupt"), contents);
        EXPECT_EQ(capture.lines(),
                  (std::vector<std::string>{"User defaults at " + path + " are unreadable; moved aside to " +
                                            path + ".corrupt and starting empty"}));
        capture.clear();
        defaults.setObject("V-2", "viewerId");
        EXPECT_EQ(QMUserDefaults(path).stringForKey("viewerId"), "V-2");
    }
}

TEST_F(UserDefaultsTest, AChangeThatWouldTakeTheFileBeyondItsBoundIsRefusedWithAConsoleLine) {
    EXPECT_EQ(QMUserDefaults::kMaximumFileLength, 65'536u);
    QMUserDefaults defaults(path);
    // {\n  "viewerId" : "<id>"\n}\n: 22 bytes around the id.
    const std::string fits(65'536 - 22, 'v');
    defaults.setObject(fits, "viewerId");
    EXPECT_EQ(read(path).size(), 65'536u);
    defaults.setObject("V-1", "viewerId");
    const std::string before = read(path);

    // One byte more, or a value short as JSON but long written out: 500 arrays deep take 1000
    // bytes compact and half a megabyte indented.
    const auto deep = QMJSONSerialization::JSONObjectWithData(std::string(500, '[') + std::string(500, ']'));
    const std::vector<std::pair<QMJSON, std::string>> refused = {{fits + "v", "65537"}, {*deep, "502016"}};
    for (const auto& [value, size] : refused) {
        capture.clear();
        defaults.setObject(value, "viewerId");
        EXPECT_EQ(capture.lines(), (std::vector<std::string>{"User defaults at " + path +
                                                             " not changed: \"viewerId\" would make them " +
                                                             size + " bytes, over the bound of 65536"}));
        EXPECT_EQ(defaults.stringForKey("viewerId"), "V-1");
        EXPECT_EQ(read(path), before);
    }
}

TEST_F(UserDefaultsTest, AFileFoundBeyondTheBoundIsRemovedWithAConsoleLineAndTheStoreStartsEmpty) {
    std::filesystem::create_directories(dir + "/prefs");
    ASSERT_TRUE(QMFileManager::defaultManager()->createFileAtPath(
        path, "{\n  \"viewerId\" : " + std::string(70'000, '[') + std::string(70'000, ']') + "\n}\n"));
    QMUserDefaults defaults(path);
    EXPECT_EQ(defaults.objectForKey("viewerId"), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_FALSE(std::filesystem::exists(path + ".corrupt"));
    EXPECT_EQ(capture.lines(),
              (std::vector<std::string>{"User defaults at " + path +
                                        " take 140020 bytes, over the bound of 65536; removed "
                                        "and starting empty"}));
    defaults.setObject("V-2", "viewerId");
    EXPECT_EQ(QMUserDefaults(path).stringForKey("viewerId"), "V-2");
}

TEST_F(UserDefaultsTest, UnwritableLocationReportsFailureWithoutThrowing) {
    const std::string unwritable = "/proc/veyrakit-no-such-dir/defaults.json";
    QMUserDefaults defaults(unwritable);
    EXPECT_NO_THROW(defaults.setObject("V-3", "viewerId"));
    EXPECT_EQ(defaults.stringForKey("viewerId"), "V-3");  // still served from memory
    capture.clear();
    EXPECT_FALSE(defaults.synchronize());
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].rfind("User defaults could not be written to " + unwritable + ": ", 0), 0u);
}

}  // namespace veyrakit
