#include "core/QMPluginBufferingMetric.h"

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "logging/QMLogger.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMReportType.h"

namespace veyrakit {

QMPluginBufferingMetric::QMPluginBufferingMetric()
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()) {
    if (plugin_) {
        plugin_->addObserver(this, "sessionId", NSKeyValueObservingOptionNew, nullptr);
    }
}

QMPluginBufferingMetric::~QMPluginBufferingMetric() {
    // A metric released without being stopped (its manager never started) still lets go.
    stopObservingSessionIdOnce();
    plugin_.reset();
}

void QMPluginBufferingMetric::observeValueForKeyPath(const std::string& keyPath, QMObject*,
                                                     const QMKeyValueChange&, void*) {
    if (keyPath == "sessionId" && plugin_ && plugin_->sessionId()) {
        stopObservingSessionIdOnce();
        onReporterReady();
    }
}

void QMPluginBufferingMetric::makeJoinTimeOnDemandRequest(int64_t joinTime) {
    QMJSON report = QMJSON::object();
    report["type"] = QMReportType::JOIN_TIME();
    report[PROPERTY_JOIN_TIME()] = joinTime;
    if (plugin_ && plugin_->sessionId()) {
        sendJoinTimeReport(report);
    } else {
        unsentJoinTimeReport_ = report;
    }
}

void QMPluginBufferingMetric::onReporterReady() {
    if (unsentJoinTimeReport_) {
        sendJoinTimeReport(*unsentJoinTimeReport_);
        unsentJoinTimeReport_.reset();
    }
}

void QMPluginBufferingMetric::stopObservingSessionIdOnce() {
    if (removeSessionId_) {
        return;
    }
    removeSessionId_ = true;
    if (plugin_) {
        plugin_->removeObserver(this, "sessionId");
    }
}

void QMPluginBufferingMetric::sendJoinTimeReport(const QMJSON& report) {
    if (auto reporter = plugin_ ? plugin_->onDemandReporter() : nullptr) {
        reporter->sendOnDemandReport(
            report, [](const std::optional<QMJSON>&) { QMLogger::info("", "JR"); }, nullptr);
    }
}

}  // namespace veyrakit
