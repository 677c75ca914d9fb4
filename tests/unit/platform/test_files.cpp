#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/QMFileManager.h"

namespace {

class FilesTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/veyrakit-files-XXXXXX";
        dir = mkdtemp(pattern);
        const char* saved = getenv("VEYRAKIT_DOCUMENTS_DIR");
        savedDocuments = saved ? std::optional<std::string>(saved) : std::nullopt;
    }
    void TearDown() override {
        if (savedDocuments) {
            setenv("VEYRAKIT_DOCUMENTS_DIR", savedDocuments->c_str(), 1);
        } else {
            unsetenv("VEYRAKIT_DOCUMENTS_DIR");
        }
        std::filesystem::remove_all(dir);
    }

    std::shared_ptr<QMFileManager> files = QMFileManager::defaultManager();
    std::string dir;
    std::optional<std::string> savedDocuments;
};

}  // namespace

TEST_F(FilesTest, DocumentsDirectoryComesFromTheEnvironmentAndIsCreated) {
    setenv("VEYRAKIT_DOCUMENTS_DIR", (dir + "/nested/Documents/").c_str(), 1);
    EXPECT_EQ(files->documentsDirectory(), dir + "/nested/Documents");
    EXPECT_TRUE(std::filesystem::is_directory(dir + "/nested/Documents"));

    unsetenv("VEYRAKIT_DOCUMENTS_DIR");
    const char* savedXdg = getenv("XDG_DATA_HOME");
    const std::string saved = savedXdg ? savedXdg : "";
    setenv("XDG_DATA_HOME", dir.c_str(), 1);
    EXPECT_EQ(files->documentsDirectory(), dir + "/veyrakit/Documents");
    EXPECT_TRUE(std::filesystem::is_directory(dir + "/veyrakit/Documents"));
    if (savedXdg) {
        setenv("XDG_DATA_HOME", saved.c_str(), 1);
    } else {
        unsetenv("XDG_DATA_HOME");
    }
}

TEST_F(FilesTest, TraceFileIsCreatedEmptyThenAppendedWithoutExtraLineBreaks) {
    const std::string path = dir + "/E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
    EXPECT_FALSE(files->fileExistsAtPath(path));
    EXPECT_EQ(files->contentsAtPath(path), std::nullopt);
    ASSERT_TRUE(files->createFileAtPath(path, ""));
    EXPECT_EQ(files->contentsAtPath(path), "");  // empty, not absent

    auto handle = QMFileHandle::fileHandleForAppendingAtPath(path);
    ASSERT_TRUE(handle);
    EXPECT_TRUE(handle->writeData("[1700000000000]: Access log URI: (null)\n"));
    // A second handle (a new session on the same file) appends after what is there.
    auto second = QMFileHandle::fileHandleForAppendingAtPath(path);
    EXPECT_TRUE(second->writeData("[1700000000001]: x"));
    EXPECT_TRUE(handle->writeData("y"));
    handle->synchronizeFile();
    EXPECT_EQ(files->contentsAtPath(path), "[1700000000000]: Access log URI: (null)\n[1700000000001]: xy");

    handle->closeFile();
    EXPECT_FALSE(handle->writeData("z"));
    handle->closeFile();  // closing twice is harmless
    EXPECT_EQ(files->contentsAtPath(path)->back(), 'y');
}

TEST_F(FilesTest, AppendingHandleCreatesAMissingFileAndFailsWithoutADirectory) {
    auto handle = QMFileHandle::fileHandleForAppendingAtPath(dir + "/fresh");
    ASSERT_TRUE(handle);
    EXPECT_TRUE(handle->writeData("abc"));
    EXPECT_EQ(files->contentsAtPath(dir + "/fresh"), "abc");
    EXPECT_EQ(QMFileHandle::fileHandleForAppendingAtPath(dir + "/missing/fresh"), nullptr);
    EXPECT_FALSE(files->createFileAtPath(dir + "/missing/file", "x"));
}

TEST_F(FilesTest, CreateReplacesContentsAndRemoveDeletesTrees) {
    const std::string path = dir + "/file";
    ASSERT_TRUE(files->createFileAtPath(path, "long original contents"));
    ASSERT_TRUE(files->createFileAtPath(path, "short"));
    EXPECT_EQ(files->contentsAtPath(path), "short");
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0644u);
    EXPECT_EQ(files->contentsAtPath(dir), std::nullopt);  // a directory has no contents

    std::filesystem::create_directories(dir + "/tree/leaf");
    EXPECT_TRUE(files->removeItemAtPath(dir + "/tree"));
    EXPECT_FALSE(files->fileExistsAtPath(dir + "/tree"));
    EXPECT_FALSE(files->removeItemAtPath(dir + "/tree"));
}
