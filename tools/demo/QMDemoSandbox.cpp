#include "demo/QMDemoSandbox.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

#include "demo/QMDemoError.h"
#include "platform/QMUserDefaults.h"

namespace veyrakit {

namespace {

constexpr const char* kDefaultsPath = "VEYRAKIT_DEFAULTS_PATH";
constexpr const char* kDocumentsDir = "VEYRAKIT_DOCUMENTS_DIR";

}  // namespace

QMDemoSandbox::QMDemoSandbox() {
    std::string pattern = (std::filesystem::temp_directory_path() / "veyrakit-demo-XXXXXX").string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) {
        throw QMDemoError("cannot create a temporary directory under " + pattern, QMDemoError::kFailure);
    }
    directory_ = buffer.data();
    savedDefaultsPath_ = replaceVariable(kDefaultsPath, directory_ + "/defaults.json");
    savedDocumentsDir_ = replaceVariable(kDocumentsDir, directory_ + "/Documents");
    QMUserDefaults::resetStandardUserDefaults();
}

QMDemoSandbox::~QMDemoSandbox() {
    restoreVariable(kDefaultsPath, savedDefaultsPath_);
    restoreVariable(kDocumentsDir, savedDocumentsDir_);
    QMUserDefaults::resetStandardUserDefaults();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

std::optional<std::string> QMDemoSandbox::replaceVariable(const char* name, const std::string& value) {
    const char* previous = std::getenv(name);
    std::optional<std::string> saved = previous ? std::optional<std::string>(previous) : std::nullopt;
    setenv(name, value.c_str(), 1);
    return saved;
}

void QMDemoSandbox::restoreVariable(const char* name, const std::optional<std::string>& value) {
    if (value) {
        setenv(name, value->c_str(), 1);
    } else {
        unsetenv(name);
    }
}

}  // namespace veyrakit
