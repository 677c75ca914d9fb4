#include "reporting/QMPeriodicalReporter.h"

#include <cctype>
#include <cmath>
#include <limits>

#include "logging/QMLogger.h"
#include "metrics/QMMetric.h"
#include "metrics/QMMetricManager.h"
#include "platform/QMFormat.h"
#include "reporting/QMJSONPostRequest.h"
#include "reporting/QMReportType.h"
#include "reporting/QMReportingSession.h"
#include "reporting/QMRestLoader.h"
#include "veyrakit/VeyraKitGlobals.h"

namespace veyrakit {

namespace {

constexpr int32_t kUnscheduledRetryBudget = 3;

std::shared_ptr<QMReportingSession> currentPlugin() { return QMReportingSession::current(); }

// "skipReports" as an integer (0 when missing, or when the answer did not parse).
int32_t skipReportsOf(const std::optional<QMJSON>& answer) {
    if (!answer || !answer->is_object()) {
        return 0;
    }
    auto value = answer->find("skipReports");
    if (value == answer->end()) {
        return 0;
    }
    return QMJSONIntValue(*value);
}

}  // namespace

void QMPeriodicalReporter::start() { initializeReportTimer(); }

void QMPeriodicalReporter::initializeReportTimer() {
    auto self = selfAs<QMPeriodicalReporter>();
    sendPeriodicalReport();
    QMLogger::info(QMFormat("Start peroidical timer, interval:  %d", INTERVAL_LENGTH), "SV");
    if (INTERVAL_LENGTH == 0) {
        QMLogger::error("Timer Interval length is 0 and set to 10", "SV");
        INTERVAL_LENGTH = 10;
    }
    // The timer holds this reporter until dispose invalidates it.
    timer_ = QMTimer::scheduledTimerWithTimeInterval(
        static_cast<double>(INTERVAL_LENGTH), [self](QMTimer&) { self->sendPeriodicalReport(); }, true);
}

void QMPeriodicalReporter::sendPeriodicalReport() { sendPeriodicalReport(false); }

void QMPeriodicalReporter::sendPeriodicalReport(bool unscheduled) {
    if (skippedReportsCount_ >= 1) {
        QMLogger::info(QMFormat("Skipping next %d", skippedReportsCount_), "T");
        --skippedReportsCount_;
        return;
    }
    auto plugin = currentPlugin();
    const std::optional<std::string> serverHost =
        plugin ? std::optional<std::string>(plugin->serverHost()) : std::nullopt;
    // Made before the body: the kept request is replaced even if collecting the values fails.
    request_ =
        QMJSONPostRequest::requestWithoutBody(QMURL::URLWithString(QMFormat("%@/player/report", serverHost)));

    QMJSON body = QMJSON::object();
    body["type"] = QMReportType::PERIODICAL();
    // Without a session id (or a plugin) the key is left out rather than sent as null.
    if (plugin && plugin->sessionId()) {
        body["sessionId"] = *plugin->sessionId();
    }
    setMetricsDataInTarget(body);
    QMLogger::info(logLine(body), "P");

    QMJSONPostRequest::setBody(*request_, QMJSONSerialization::dataWithJSONObject(body));
    isSendingUnscheduledReport_ = unscheduled;
    startConnection();
}

void QMPeriodicalReporter::setMetricsDataInTarget(QMJSON& target) {
    auto plugin = currentPlugin();
    auto metricManager = plugin ? plugin->metricManager() : nullptr;
    // Collecting runs every metric's reset hook, whatever becomes of this report.
    const QMJSON values = metricManager ? metricManager->serializeMetricValues() : QMJSON::object();
    ++periodicalCounter_;
    ++pulseCounter_;
    if (values.is_object()) {
        for (const auto& [key, value] : values.items()) {
            target[key] = value;
        }
    }
    target["periodicalNumber"] = periodicalCounter_;
    target[METRIC_PULSE_NUMBER] = pulseCounter_;
}

std::string QMPeriodicalReporter::logLine(const QMJSON& body) const {
    const auto& shortKeys = QMMetric::ABR_PROPERTY_MAP();
    std::string line;
    for (const auto& [key, value] : body.items()) {
        auto shortKey = shortKeys.find(key);
        if (shortKey != shortKeys.end()) {
            line += shortKey->second + ":'" + QMDescription(value) + "', ";
        }
    }
    return line;
}

void QMPeriodicalReporter::sendUnscheduledPeriodical(bool destroyAfter) {
    auto self = selfAs<QMPeriodicalReporter>();
    sendPeriodicalReport(true);
    if (!destroyAfter) {
        return;
    }
    if (auto plugin = currentPlugin()) {
        plugin->destroy();
    }
}

void QMPeriodicalReporter::startConnection() {
    QMURLConnection::connectionWithRequest(request_, selfAs<QMPeriodicalReporter>(), true);
}

void QMPeriodicalReporter::dispose() {
    if (timer_) {
        timer_->invalidate();
        timer_.reset();
    }
    disposed_ = true;
    QMLogger::info("P timer disposed", "T");
}

void QMPeriodicalReporter::connection(QMURLConnection&,
                                      const std::shared_ptr<QMHTTPURLResponse>& didReceiveResponse) {
    if (!didReceiveResponse || didReceiveResponse->statusCode() != 200) {
        QMLogger::info("Periodical received non-200 response", "PR");
    }
}

void QMPeriodicalReporter::connection(QMURLConnection&, const std::string& didReceiveData) {
    QMRestLoader::appendResponseData(connectionData_, didReceiveData);
}

void QMPeriodicalReporter::connectionDidFinishLoading(QMURLConnection&) {
    if (disposed_) {
        return;
    }
    const auto answer =
        connectionData_ ? QMJSONSerialization::JSONObjectWithData(*connectionData_) : std::nullopt;
    const int32_t skipReports = skipReportsOf(answer);
    QMLogger::info(QMFormat("SkipReports: %d", skipReports), "PR");
    auto plugin = currentPlugin();
    if (auto metricManager = plugin ? plugin->metricManager() : nullptr) {
        metricManager->isSentSuccessfully(true);
    }
    if (skipReports > 0) {
        skippedReportsCount_ = skipReports;
    } else if ((skipReports == -1 || skipReports == -2) && plugin) {
        plugin->destroy();
    }
    connectionData_.reset();
}

void QMPeriodicalReporter::connection(QMURLConnection&, const std::shared_ptr<QMError>&) {
    if (disposed_) {
        return;
    }
    connectionData_.reset();
    if (isSendingUnscheduledReport_) {
        if (unscheduledReportRetryCount_ < kUnscheduledRetryBudget) {
            ++unscheduledReportRetryCount_;
            startConnection();
        }
    } else {
        auto plugin = currentPlugin();
        if (auto metricManager = plugin ? plugin->metricManager() : nullptr) {
            metricManager->isSentSuccessfully(false);
        }
    }
    QMLogger::error("Error", "PR");
}

}  // namespace veyrakit
