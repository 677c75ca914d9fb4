#include "platform/QMFileManager.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace veyrakit {

namespace {

std::string envValue(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string homeDirectory() {
    std::string home = envValue("HOME");
    if (!home.empty()) {
        return home;
    }
    const passwd* entry = getpwuid(getuid());
    return entry && entry->pw_dir ? entry->pw_dir : ".";
}

bool writeAll(int fd, const std::string& data) {
    std::size_t written = 0;
    while (written < data.size()) {
        const ssize_t n = ::write(fd, data.data() + written, data.size() - written);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        written += static_cast<std::size_t>(n);
    }
    return true;
}

// $<xdgVariable>, else ~/<fallbackUnderHome>, as the XDG base directory rules have it.
std::string xdgDirectory(const char* xdgVariable, const char* fallbackUnderHome) {
    std::string directory = envValue(xdgVariable);
    return directory.empty() ? homeDirectory() + "/" + fallbackUnderHome : directory;
}

}  // namespace

std::shared_ptr<QMFileManager> QMFileManager::defaultManager() {
    static const auto manager = std::make_shared<QMFileManager>();
    return manager;
}

std::string QMFileManager::preferencesDirectory() const {
    return xdgDirectory("XDG_CONFIG_HOME", ".config") + "/veyrakit";
}

std::string QMFileManager::documentsDirectory() const {
    std::string directory = envValue("VEYRAKIT_DOCUMENTS_DIR");
    if (directory.empty()) {
        directory = xdgDirectory("XDG_DATA_HOME", ".local/share") + "/veyrakit/Documents";
    }
    while (directory.size() > 1 && directory.back() == '/') {
        directory.pop_back();
    }
    std::error_code ignored;
    std::filesystem::create_directories(directory, ignored);
    return directory;
}

bool QMFileManager::fileExistsAtPath(const std::string& path) const {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0;
}

bool QMFileManager::createFileAtPath(const std::string& path, const std::string& contents) const {
    std::string temporary = path + ".XXXXXX";
    const int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    bool done = writeAll(fd, contents) && ::fchmod(fd, 0644) == 0;
    done = (::close(fd) == 0) && done;
    done = done && ::rename(temporary.c_str(), path.c_str()) == 0;
    if (!done) {
        const int savedErrno = errno;
        ::unlink(temporary.c_str());
        errno = savedErrno;
    }
    return done;
}

bool QMFileManager::removeItemAtPath(const std::string& path) const {
    std::error_code error;
    return std::filesystem::remove_all(path, error) > 0 && !error;
}

std::optional<std::string> QMFileManager::contentsAtPath(const std::string& path) const {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        return std::nullopt;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return std::nullopt;
    }
    std::ostringstream contents;
    contents << in.rdbuf();
    return contents.str();
}

std::shared_ptr<QMFileHandle> QMFileHandle::fileHandleForAppendingAtPath(const std::string& path,
                                                                         unsigned permissions) {
    const int fd =
        ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, static_cast<mode_t>(permissions));
    if (fd < 0) {
        return nullptr;
    }
    return std::make_shared<QMFileHandle>(fd);
}

QMFileHandle::QMFileHandle(int fd) : fd_(fd) {}

QMFileHandle::~QMFileHandle() { closeFile(); }

bool QMFileHandle::writeData(const std::string& data) { return fd_ >= 0 && writeAll(fd_, data); }

void QMFileHandle::synchronizeFile() {
    if (fd_ >= 0) {
        ::fsync(fd_);
    }
}

void QMFileHandle::closeFile() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

}  // namespace veyrakit
