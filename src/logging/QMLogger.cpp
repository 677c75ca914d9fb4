#include "logging/QMLogger.h"

#include <cstdint>

#include "logging/QMDateQuamira.h"
#include "logging/QMLogSession.h"
#include "platform/QMConsole.h"
#include "veyrakit/platform/QMDate.h"

namespace veyrakit {

namespace {

// Module-level queues, made on first use. Main thread only, as all logging is.
QMLogEntryList& heldBackLogs() {
    static QMLogEntryList logs;
    return logs;
}

QMLogEntryList& storedArrayLog() {
    static QMLogEntryList logs;
    return logs;
}

std::shared_ptr<QMLogSession> currentPlugin() { return QMLogSession::current(); }

// The count is compared with the size widened with its sign and then read as unsigned, so a
// negative size is never reached and the queue only leaves through flushLogs.
bool queueIsFull(std::size_t count, int32_t size) {
    return static_cast<uint64_t>(count) >= static_cast<uint64_t>(static_cast<int64_t>(size));
}

}  // namespace

const std::string& QMLogger::TRACE_LEVEL() {
    static const std::string value = "T";
    return value;
}

const std::string& QMLogger::DEBUG_LEVEL() {
    static const std::string value = "D";
    return value;
}

const std::string& QMLogger::INFO_LEVEL() {
    static const std::string value = "I";
    return value;
}

const std::string& QMLogger::ERROR_LEVEL() {
    static const std::string value = "E";
    return value;
}

void QMLogger::trace(const std::string& message, const std::optional<std::string>& prefix) {
    log(TRACE_LEVEL(), message, prefix);
}

void QMLogger::debug(const std::string& message, const std::optional<std::string>& prefix) {
    log(DEBUG_LEVEL(), message, prefix);
}

void QMLogger::info(const std::string& message, const std::optional<std::string>& prefix) {
    log(INFO_LEVEL(), message, prefix);
}

void QMLogger::error(const std::string& message, const std::optional<std::string>& prefix) {
    log(ERROR_LEVEL(), message, prefix);
}

void QMLogger::log(const std::string& level, const std::string& message,
                   const std::optional<std::string>& prefix) {
    QMConsoleLog("%@ %@", level, process(message, prefix));
    storeLog(level, message, prefix);
}

std::string QMLogger::process(const std::string& message, const std::optional<std::string>& prefix) {
    return prefix.value_or(" ") + "\t{" + message + "}{" + QMDateQuamira::toString(*QMDate::date()) + "}";
}

void QMLogger::storeLog(const std::string& level, const std::string& log,
                        const std::optional<std::string>& prefix) {
    auto plugin = currentPlugin();
    if (!plugin || !plugin->sessionId()) {
        heldBackLogs().push_back(QMLogEntry::entryWithLog(log, level, prefix));
        return;
    }
    if (!plugin->isLogReporter()) {
        heldBackLogs() = QMLogEntryList();
        return;
    }
    QMLogEntryList queue = getStoredLogs();
    if (!heldBackLogs().empty()) {
        queue.insert(queue.end(), heldBackLogs().begin(), heldBackLogs().end());
        heldBackLogs() = QMLogEntryList();
    }
    queue.push_back(QMLogEntry::entryWithLog(log, level, prefix));
    updateStoredLogs(queue);
    if (queueIsFull(queue.size(), plugin->LOQ_QUEUE_SIZE())) {
        sendLogs(queue);
        clearLog();
    }
}

void QMLogger::start() { storedArrayLog() = QMLogEntryList(); }

void QMLogger::sendLogs(const QMLogEntryList& logs) {
    if (logs.empty()) {
        return;
    }
    if (auto plugin = currentPlugin()) {
        plugin->sendLogReport(serializeLogs(logs));
    }
}

QMJSON QMLogger::serializeLogs(const QMLogEntryList& logs) {
    QMJSON array = QMJSON::array();
    for (const auto& entry : logs) {
        array.push_back(entry->toJSON());
    }
    return array;
}

void QMLogger::flushLogs() {
    auto plugin = currentPlugin();
    if (!plugin || !plugin->isLogReporter()) {
        return;
    }
    QMLogEntryList taken = getStoredLogs();
    clearLog();
    sendLogs(taken);
}

void QMLogger::updateStoredLogs(QMLogEntryList logs) { storedArrayLog() = std::move(logs); }

QMLogEntryList QMLogger::getStoredLogs() { return storedArrayLog(); }

void QMLogger::clearLog() { storedArrayLog() = QMLogEntryList(); }

QMLogEntryList QMLogger::logsBeforeSessionInitiated() { return heldBackLogs(); }

void QMLogger::setLogsBeforeSessionInitiated(QMLogEntryList logs) { heldBackLogs() = std::move(logs); }

}  // namespace veyrakit
