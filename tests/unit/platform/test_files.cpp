#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/QMFileManager.h"
#include "support/QMTestEnvironment.h"

namespace veyrakit {

namespace {

class FilesTest : public QMVirtualTimeTest {
  protected:
    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        dir = tempDir();
    }
    void TearDown() override {
        for (const auto& [name, value] : saved) {
            value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
        }
        QMVirtualTimeTest::TearDown();
    }
    void setEnv(const std::string& name, const std::optional<std::string>& value) {
        if (!saved.count(name)) {
            const char* old = getenv(name.c_str());
            saved[name] = old ? std::optional<std::string>(old) : std::nullopt;
        }
        value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    }

    std::shared_ptr<QMFileManager> files = QMFileManager::defaultManager();
    std::string dir;
    std::map<std::string, std::optional<std::string>> saved;
};

}  // namespace

TEST_F(FilesTest, DirectoriesComeFromTheEnvironmentAndDocumentsAreCreated) {
    setEnv("VEYRAKIT_DOCUMENTS_DIR", dir + "/nested/Documents/");
    EXPECT_EQ(files->documentsDirectory(), dir + "/nested/Documents");
    EXPECT_TRUE(std::filesystem::is_directory(dir + "/nested/Documents"));

    setEnv("VEYRAKIT_DOCUMENTS_DIR", std::nullopt);
    setEnv("XDG_DATA_HOME", dir);
    setEnv("XDG_CONFIG_HOME", dir + "/config");
    EXPECT_EQ(files->documentsDirectory(), dir + "/veyrakit/Documents");
    EXPECT_TRUE(std::filesystem::is_directory(dir + "/veyrakit/Documents"));
    EXPECT_EQ(files->preferencesDirectory(), dir + "/config/veyrakit");

    setEnv("XDG_DATA_HOME", std::nullopt);
    setEnv("HOME", dir + "/home");
    EXPECT_EQ(files->documentsDirectory(), dir + "/home/.local/share/veyrakit/Documents");
}

TEST_F(FilesTest, TraceFileIsCreatedEmptyThenAppendedByEveryHandle) {
    const std::string path = dir + "/E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
    EXPECT_FALSE(files->fileExistsAtPath(path));
    EXPECT_EQ(files->contentsAtPath(path), std::nullopt);
    ASSERT_TRUE(files->createFileAtPath(path, ""));
    EXPECT_EQ(files->contentsAtPath(path), "");  // empty, not absent

    auto handle = QMFileHandle::fileHandleForAppendingAtPath(path);
    ASSERT_TRUE(handle);
    EXPECT_TRUE(handle->writeData("[1700000000000]: Access log URI: (null)\n"));
    auto second = QMFileHandle::fileHandleForAppendingAtPath(path);
    EXPECT_TRUE(second->writeData("[1700000000001]: x"));
    EXPECT_TRUE(handle->writeData("y"));
    handle->closeFile();
    EXPECT_FALSE(handle->writeData("z"));
    handle->closeFile();
    EXPECT_EQ(files->contentsAtPath(path), "[1700000000000]: Access log URI: (null)\n[1700000000001]: xy");

    EXPECT_TRUE(QMFileHandle::fileHandleForAppendingAtPath(dir + "/fresh")->writeData("abc"));
    EXPECT_EQ(files->contentsAtPath(dir + "/fresh"), "abc");
    EXPECT_EQ(QMFileHandle::fileHandleForAppendingAtPath(dir + "/missing/fresh"), nullptr);
}

TEST_F(FilesTest, CreateReplacesContentsAndRemoveDeletesTrees) {
    const std::string path = dir + "/file";
    ASSERT_TRUE(files->createFileAtPath(path, "long original contents"));
    ASSERT_TRUE(files->createFileAtPath(path, "short"));
    EXPECT_EQ(files->contentsAtPath(path), "short");
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0644u);
    EXPECT_FALSE(files->createFileAtPath(dir + "/missing/file", "x"));
    EXPECT_EQ(files->contentsAtPath(dir), std::nullopt);  // a directory has no contents

    std::filesystem::create_directories(dir + "/tree/leaf");
    EXPECT_TRUE(files->removeItemAtPath(dir + "/tree"));
    EXPECT_FALSE(files->fileExistsAtPath(dir + "/tree"));
    EXPECT_FALSE(files->removeItemAtPath(dir + "/tree"));
}

}  // namespace veyrakit
