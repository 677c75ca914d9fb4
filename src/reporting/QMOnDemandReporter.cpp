#include "reporting/QMOnDemandReporter.h"

#include <string>

#include "logging/QMLogger.h"
#include "metrics/QMMetric.h"
#include "platform/QMFormat.h"
#include "reporting/QMPeriodicalReporter.h"
#include "reporting/QMReportType.h"
#include "reporting/QMReportingSession.h"
#include "veyrakit/VeyraKitGlobals.h"

namespace veyrakit {

namespace {

bool isLogReport(const QMJSON& report) {
    auto type = report.find("type");
    return type != report.end() && type->is_string() &&
           type->get<std::string>() == QMReportType::LOG_REPORT();
}

std::optional<std::string> typePrefix(const QMJSON& report) {
    auto type = report.find("type");
    if (type == report.end()) {
        return std::nullopt;
    }
    return type->is_string() ? type->get<std::string>() : QMDescription(*type);
}

// Arrays are written element by element ("[a, b, ]"), other values by their description.
std::string echoLine(const QMJSON& report) {
    const auto& shortKeys = QMMetric::ABR_PROPERTY_MAP();
    std::string line;
    if (!report.is_object()) {
        return line;
    }
    for (const auto& [key, value] : report.items()) {
        auto shortKey = shortKeys.find(key);
        if (shortKey == shortKeys.end()) {
            continue;
        }
        line += shortKey->second + ":'";
        if (value.is_array()) {
            line += "[";
            for (const auto& element : value) {
                line += QMDescription(element) + ", ";
            }
            line += "]";
        } else {
            line += QMDescription(value);
        }
        line += "', ";
    }
    return line;
}

}  // namespace

void QMOnDemandReporter::sendOnDemandReport(QMJSON report, CompleteCallback onCompleteCallback,
                                            FailedCallback onFailedCallback) {
    auto plugin = QMReportingSession::current();
    const std::optional<std::string> serverHost =
        plugin ? std::optional<std::string>(plugin->serverHost()) : std::nullopt;
    auto loader = QMRestLoader::initWithContentType(
        QMRestLoader::CONTENT_TYPE_JSON(), QMURL::URLWithString(QMFormat("%@/player/report", serverHost)),
        QMRestLoader::HTTP_METHOD_POST());
    QMJSON envelope = QMJSON::object();
    // Without a session id (or a plugin) the key is left out rather than sent as null.
    if (plugin && plugin->sessionId()) {
        envelope["sessionId"] = *plugin->sessionId();
    }
    if (report.is_object()) {
        for (const auto& [key, value] : report.items()) {
            envelope[key] = value;
        }
    }
    if (!isLogReport(report)) {
        auto periodicalReporter = plugin ? plugin->periodicalReporter() : nullptr;
        const int32_t pulse = (periodicalReporter ? periodicalReporter->pulseCounter() : 0) + 1;
        if (periodicalReporter) {
            periodicalReporter->setPulseCounter(pulse);
        }
        envelope[METRIC_PULSE_NUMBER] = pulse;
        QMLogger::info(echoLine(report), typePrefix(report));
    }
    loader->loadWithData(envelope, std::move(onCompleteCallback), std::move(onFailedCallback));
}

}  // namespace veyrakit
