#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>

#include "platform/QMConsole.h"
#include "platform/QMFileManager.h"
#include "platform/QMUserDefaults.h"

namespace {

class UserDefaultsTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/veyrakit-defaults-XXXXXX";
        dir = mkdtemp(pattern);
        path = dir + "/prefs/defaults.json";
    }
    void TearDown() override {
        unsetenv("VEYRAKIT_DEFAULTS_PATH");
        QMUserDefaults::resetStandardUserDefaults();
        std::filesystem::remove_all(dir);
    }
    std::string read(const std::string& p) { return QMFileManager::defaultManager()->contentsAtPath(p).value_or("<none>"); }
    void write(const std::string& p, const std::string& contents) {
        std::filesystem::create_directories(std::filesystem::path(p).parent_path());
        ASSERT_TRUE(QMFileManager::defaultManager()->createFileAtPath(p, contents));
    }

    std::string dir;
    std::string path;
    QMConsole::Capture console;
};

}  // namespace

TEST_F(UserDefaultsTest, ValuesPersistAcrossInstancesAtTheConfiguredPath) {
    setenv("VEYRAKIT_DEFAULTS_PATH", path.c_str(), 1);
    auto defaults = QMUserDefaults::standardUserDefaults();
    EXPECT_EQ(defaults, QMUserDefaults::standardUserDefaults());
    EXPECT_EQ(defaults->path(), path);
    EXPECT_EQ(defaults->stringForKey("viewerId"), std::nullopt);

    defaults->setObject("V-42", "viewerId");
    defaults->setObject(7, "count");
    EXPECT_TRUE(defaults->synchronize());

    EXPECT_EQ(read(path), "{\n  \"viewerId\" : \"V-42\",\n  \"count\" : 7\n}\n");
    QMUserDefaults::resetStandardUserDefaults();
    auto reloaded = QMUserDefaults::standardUserDefaults();
    EXPECT_NE(reloaded, defaults);
    EXPECT_EQ(reloaded->stringForKey("viewerId"), "V-42");
    EXPECT_EQ(reloaded->stringForKey("count"), std::nullopt);  // only string values are strings
    EXPECT_EQ(reloaded->objectForKey("count"), QMJSON(7));
    EXPECT_TRUE(console.lines().empty());
    // Nothing but the file is left behind by the atomic writes.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir + "/prefs"), {}), 1);
}

TEST_F(UserDefaultsTest, EmptyStringIsStoredAndNullRemoves) {
    QMUserDefaults defaults(path);
    defaults.setObject("", "viewerId");
    EXPECT_EQ(defaults.stringForKey("viewerId"), "");  // stored empty is not absent here
    defaults.setObject(nullptr, "viewerId");
    EXPECT_EQ(defaults.objectForKey("viewerId"), std::nullopt);
    defaults.setObject("x", "a");
    defaults.removeObjectForKey("a");
    EXPECT_EQ(QMUserDefaults(path).objectForKey("a"), std::nullopt);  // changes are written through
}

TEST_F(UserDefaultsTest, CorruptFileIsSetAsideWithAConsoleLineAndTheStoreStartsEmpty) {
    for (const std::string contents : {"{\"viewerId\": \"V-1\"", "[\"not\", \"an object\"]", ""}) {
        write(path, contents);
        QMUserDefaults defaults(path);
        EXPECT_EQ(defaults.objectForKey("viewerId"), std::nullopt);
        EXPECT_EQ(read(path + ".corrupt"), contents);
        EXPECT_FALSE(std::filesystem::exists(path));
        EXPECT_EQ(console.lines(), (std::vector<std::string>{"User defaults at " + path + " are unreadable; moved aside to " +
                                                             path + ".corrupt and starting empty"}));
        console.clear();
        defaults.setObject("V-2", "viewerId");
        EXPECT_EQ(QMUserDefaults(path).stringForKey("viewerId"), "V-2");
        std::filesystem::remove(path);
    }
}

TEST_F(UserDefaultsTest, UnwritableLocationReportsFailureWithoutThrowing) {
    const std::string unwritable = "/proc/veyrakit-no-such-dir/defaults.json";
    QMUserDefaults defaults(unwritable);
    EXPECT_NO_THROW(defaults.setObject("V-3", "viewerId"));
    EXPECT_EQ(defaults.stringForKey("viewerId"), "V-3");  // still served from memory
    console.clear();
    EXPECT_FALSE(defaults.synchronize());
    ASSERT_EQ(console.lines().size(), 1u);
    EXPECT_EQ(console.lines()[0].rfind("User defaults could not be written to " + unwritable + ": ", 0), 0u)
        << console.lines()[0];
}

TEST_F(UserDefaultsTest, WithoutAnExplicitPathTheXdgConfigDirectoryIsUsed) {
    const char* savedXdg = getenv("XDG_CONFIG_HOME");
    const std::string saved = savedXdg ? savedXdg : "";
    setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
    unsetenv("VEYRAKIT_DEFAULTS_PATH");
    QMUserDefaults::resetStandardUserDefaults();
    EXPECT_EQ(QMUserDefaults::standardUserDefaults()->path(), dir + "/veyrakit/defaults.json");
    if (savedXdg) {
        setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
    } else {
        unsetenv("XDG_CONFIG_HOME");
    }
}
