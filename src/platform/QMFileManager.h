#pragma once
#include <memory>
#include <optional>
#include <string>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Files as the SDK needs them: the app's documents directory and appending writes.
class VEYRAKIT_EXPORT QMFileManager : public QMObject {
  public:
    static std::shared_ptr<QMFileManager> defaultManager();

    // $VEYRAKIT_DOCUMENTS_DIR, else $XDG_DATA_HOME/veyrakit/Documents, else
    // ~/.local/share/veyrakit/Documents; created when missing.
    std::string documentsDirectory() const;
    // $XDG_CONFIG_HOME/veyrakit, else ~/.config/veyrakit (where user defaults live); not created.
    std::string preferencesDirectory() const;
    bool fileExistsAtPath(const std::string& path) const;
    // Replaces the file atomically (written beside it, then renamed over it); false with errno set
    // when it cannot. The parent directory must exist.
    bool createFileAtPath(const std::string& path, const std::string& contents) const;
    bool removeItemAtPath(const std::string& path) const;
    std::optional<std::string> contentsAtPath(const std::string& path) const;
};

// Appends to a file, creating it when missing (with `permissions`, less the process's umask).
// Closed on destruction.
class VEYRAKIT_EXPORT QMFileHandle : public QMObject {
  public:
    static std::shared_ptr<QMFileHandle> fileHandleForAppendingAtPath(const std::string& path,
                                                                      unsigned permissions = 0644);
    explicit QMFileHandle(int fd);
    ~QMFileHandle() override;
    bool writeData(const std::string& data);
    void synchronizeFile();
    void closeFile();

  private:
    int fd_;
};

}  // namespace veyrakit
