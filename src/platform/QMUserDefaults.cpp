#include "platform/QMUserDefaults.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/QMConsole.h"
#include "platform/QMFileManager.h"

namespace veyrakit {

namespace {

std::shared_ptr<QMUserDefaults> sharedDefaults;

std::string fileText(const QMJSON& values) {
    return QMJSONSerialization::prettyDataWithJSONObject(values) + "\n";
}

std::string defaultsPath() {
    const char* explicitPath = std::getenv("VEYRAKIT_DEFAULTS_PATH");
    if (explicitPath && *explicitPath) {
        return explicitPath;
    }
    return QMFileManager::defaultManager()->preferencesDirectory() + "/defaults.json";
}

}  // namespace

std::shared_ptr<QMUserDefaults> QMUserDefaults::standardUserDefaults() {
    if (!sharedDefaults) {
        sharedDefaults = std::make_shared<QMUserDefaults>(defaultsPath());
    }
    return sharedDefaults;
}

void QMUserDefaults::resetStandardUserDefaults() { sharedDefaults.reset(); }

QMUserDefaults::QMUserDefaults(std::string path) : path_(std::move(path)) { load(); }

void QMUserDefaults::load() {
    std::error_code error;
    if (!std::filesystem::exists(path_, error)) {
        return;
    }
    const auto size = std::filesystem::file_size(path_, error);
    if (!error && size > kMaximumFileLength) {
        // Too large to be anything the SDK wrote within its bound: nothing in it is worth the disk.
        std::filesystem::remove(path_, error);
        QMConsoleLog("User defaults at %@ take %llu bytes, over the bound of %lu; removed and starting empty",
                     path_, static_cast<unsigned long long>(size), kMaximumFileLength);
        return;
    }
    const auto contents = QMFileManager::defaultManager()->contentsAtPath(path_);
    auto stored = contents ? QMJSONSerialization::JSONObjectWithData(*contents) : std::nullopt;
    if (stored && stored->is_object()) {
        values_ = std::move(*stored);
        return;
    }
    // Keep the damaged file for inspection, and start afresh rather than fail the host.
    const std::string asidePath = path_ + ".corrupt";
    std::filesystem::rename(path_, asidePath, error);
    QMConsoleLog("User defaults at %@ are unreadable; moved aside to %@ and starting empty", path_,
                 asidePath);
}

std::optional<QMJSON> QMUserDefaults::objectForKey(const std::string& key) const {
    auto found = values_.find(key);
    if (found == values_.end()) {
        return std::nullopt;
    }
    return *found;
}

std::optional<std::string> QMUserDefaults::stringForKey(const std::string& key) const {
    auto found = values_.find(key);
    if (found == values_.end() || !found->is_string()) {
        return std::nullopt;
    }
    return found->get<std::string>();
}

void QMUserDefaults::setObject(const QMJSON& value, const std::string& forKey) {
    if (value.is_null()) {  // as on the platform, storing nothing removes the key
        removeObjectForKey(forKey);
        return;
    }
    QMJSON changed = values_;
    changed[forKey] = value;
    const std::string text = fileText(changed);
    if (text.size() > kMaximumFileLength) {
        QMConsoleLog(
            "User defaults at %@ not changed: \"%@\" would make them %lu bytes, over the bound of %lu", path_,
            forKey, text.size(), kMaximumFileLength);
        return;
    }
    values_ = std::move(changed);
    write(text);
}

void QMUserDefaults::removeObjectForKey(const std::string& key) {
    values_.erase(key);
    persist();
}

bool QMUserDefaults::synchronize() { return persist(); }

bool QMUserDefaults::persist() { return write(fileText(values_)); }

bool QMUserDefaults::write(const std::string& text) {
    const auto files = QMFileManager::defaultManager();
    const auto parent = std::filesystem::path(path_).parent_path();
    std::error_code ignored;
    if (!parent.empty()) {
        std::filesystem::create_directories(parent, ignored);
    }
    if (!files->createFileAtPath(path_, text)) {
        QMConsoleLog("User defaults could not be written to %@: %s", path_, std::strerror(errno));
        return false;
    }
    return true;
}

}  // namespace veyrakit
