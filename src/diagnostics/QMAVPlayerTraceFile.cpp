#include "diagnostics/QMAVPlayerTraceFile.h"

#include "platform/QMClock.h"
#include "platform/QMConsole.h"
#include "platform/QMFormat.h"

namespace veyrakit {

namespace {
constexpr unsigned kOwnerOnly = 0600;
}  // namespace

QMAVPlayerTraceFile::QMAVPlayerTraceFile(const std::string& temporarySessionId)
    : path_(QMFileManager::defaultManager()->documentsDirectory() + "/" + temporarySessionId) {
    QMConsoleLog("FileLogger path: %@", path_);
    logFile_ = QMFileHandle::fileHandleForAppendingAtPath(path_, kOwnerOnly);
}

void QMAVPlayerTraceFile::logToFile(const std::string& text) {
    if (logFile_) {
        logFile_->writeData(QMFormat("[%lld]: %@", QMClock::currentTimeMillis(), text));
    }
}

}  // namespace veyrakit
