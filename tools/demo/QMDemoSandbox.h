#pragma once
#include <optional>
#include <string>

namespace veyrakit {

// A run of the demo keeps what the SDK persists (user defaults, the documents directory) in a
// fresh temporary directory, so that every run starts like a first launch and nothing is left in
// the user's own configuration. Restores the environment and removes the directory when destroyed.
class QMDemoSandbox {
  public:
    QMDemoSandbox();
    ~QMDemoSandbox();
    QMDemoSandbox(const QMDemoSandbox&) = delete;
    QMDemoSandbox& operator=(const QMDemoSandbox&) = delete;

    const std::string& directory() const { return directory_; }

  private:
    static std::optional<std::string> replaceVariable(const char* name, const std::string& value);
    static void restoreVariable(const char* name, const std::optional<std::string>& value);

    std::string directory_;
    std::optional<std::string> savedDefaultsPath_;
    std::optional<std::string> savedDocumentsDir_;
};

}  // namespace veyrakit
