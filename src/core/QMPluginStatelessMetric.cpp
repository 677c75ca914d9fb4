#include "core/QMPluginStatelessMetric.h"

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "logging/QMLogger.h"
#include "reporting/QMOnDemandReporter.h"

namespace veyrakit {

QMPluginStatelessMetric::QMPluginStatelessMetric()
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()) {
    if (plugin_) {
        plugin_->addObserver(this, "sessionId", NSKeyValueObservingOptionNew, nullptr);
    }
}

QMPluginStatelessMetric::~QMPluginStatelessMetric() {
    // A metric released without being stopped (its manager never started) still lets go.
    if (!removeSessionId_) {
        stopObservingSessionId();
    }
    plugin_.reset();
}

bool QMPluginStatelessMetric::canCollectMetric() { return true; }

void QMPluginStatelessMetric::stopMetricCollection() {
    QMStatelessMetric::stopMetricCollection();
    if (!removeSessionId_) {
        stopObservingSessionId();
    }
}

void QMPluginStatelessMetric::observeValueForKeyPath(const std::string& keyPath, QMObject*,
                                                     const QMKeyValueChange&, void*) {
    if (keyPath == "sessionId" && hasSessionId()) {
        stopObservingSessionId();
        onReporterReady();
    }
}

bool QMPluginStatelessMetric::hasSessionId() const { return plugin_ && plugin_->sessionId(); }

void QMPluginStatelessMetric::sendOnDemandReport(const QMJSON& report,
                                                 const std::string& completionPrefix) const {
    if (auto reporter = plugin_ ? plugin_->onDemandReporter() : nullptr) {
        reporter->sendOnDemandReport(
            report,
            [completionPrefix](const std::optional<QMJSON>&) { QMLogger::info("", completionPrefix); },
            nullptr);
    }
}

void QMPluginStatelessMetric::stopObservingSessionId() {
    removeSessionId_ = true;
    if (plugin_) {
        plugin_->removeObserver(this, "sessionId");
    }
}

}  // namespace veyrakit
