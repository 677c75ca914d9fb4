#pragma once
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "logging/QMLogEntry.h"
#include "platform/QMJSON.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

using QMLogEntryList = std::vector<std::shared_ptr<QMLogEntry>>;

// The remote logger (class-level only). Every message goes to the console; while the current
// plugin has a session id and remote logging is on, messages are queued and shipped as LOG_REPORT
// on-demand reports. Messages logged before the session id is known are held back and either
// prepended to the queue or discarded once it is. Main thread only.
class QMLogger : public QMObject {
  public:
    static const std::string& TRACE_LEVEL();  // "T"
    static const std::string& DEBUG_LEVEL();  // "D"
    static const std::string& INFO_LEVEL();   // "I"
    static const std::string& ERROR_LEVEL();  // "E"

    static void trace(const std::string& message, const std::optional<std::string>& prefix);
    static void debug(const std::string& message, const std::optional<std::string>& prefix);
    static void info(const std::string& message, const std::optional<std::string>& prefix);
    static void error(const std::string& message, const std::optional<std::string>& prefix);

    // "<prefix or one space>\t{<message>}{<now>}"
    static std::string process(const std::string& message, const std::optional<std::string>& prefix);
    static void storeLog(const std::string& level, const std::string& log,
                         const std::optional<std::string>& prefix);

    static void start();
    static void sendLogs(const QMLogEntryList& logs);
    static QMJSON serializeLogs(const QMLogEntryList& logs);
    static void flushLogs();
    static void updateStoredLogs(QMLogEntryList logs);
    static QMLogEntryList getStoredLogs();
    static void clearLog();

    // The held-back entries (logged while no plugin with a session id existed).
    static QMLogEntryList logsBeforeSessionInitiated();
    static void setLogsBeforeSessionInitiated(QMLogEntryList logs);

  private:
    static void log(const std::string& level, const std::string& message,
                    const std::optional<std::string>& prefix);
};

}  // namespace veyrakit
