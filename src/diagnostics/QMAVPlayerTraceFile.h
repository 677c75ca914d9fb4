#pragma once
#include <memory>
#include <string>

#include "platform/QMFileManager.h"

namespace veyrakit {

// The plain-text trace of one AVPlayer session's access and error logs: a file in the app's
// documents directory named by the session's temporary id (no extension), kept after the
// session. Each line is stamped "[<ms since 1970>]: " ahead of its text. The file is readable by
// its owner only, since it carries the stream's URIs and server addresses.
class QMAVPlayerTraceFile {
  public:
    // Creates the file when it does not exist yet (a reporter with the same id appends) and says
    // where it is on the console ("FileLogger path: <path>").
    explicit QMAVPlayerTraceFile(const std::string& temporarySessionId);

    const std::string& path() const { return path_; }
    // Appends "[<ms>]: <text>" as it is (the texts bring their own line breaks). Nothing when the
    // file could not be opened.
    void logToFile(const std::string& text);

  private:
    std::string path_;
    std::shared_ptr<QMFileHandle> logFile_;
};

}  // namespace veyrakit
