#include "players/avplayer/QMAVPlayerStatelessMetric.h"

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "logging/QMLogger.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "reporting/QMOnDemandReporter.h"

QMAVPlayerStatelessMetric::QMAVPlayerStatelessMetric()
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()) {
    auto avPlugin = std::dynamic_pointer_cast<QMAVPlayerVeyraPlugin>(plugin_);
    player_ = avPlugin ? avPlugin->player() : nullptr;
    if (plugin_) {
        plugin_->addObserver(this, "sessionId", NSKeyValueObservingOptionNew, nullptr);
    }
}

QMAVPlayerStatelessMetric::~QMAVPlayerStatelessMetric() { plugin_.reset(); }

bool QMAVPlayerStatelessMetric::canCollectMetric() { return true; }

void QMAVPlayerStatelessMetric::stopMetricCollection() {
    QMStatelessMetric::stopMetricCollection();
    if (!removeSessionId_) {
        stopObservingSessionId();
    }
}

void QMAVPlayerStatelessMetric::observeValueForKeyPath(const std::string& keyPath, QMObject*,
                                                       const QMKeyValueChange&, void*) {
    if (keyPath == "sessionId" && hasSessionId()) {
        stopObservingSessionId();
        onReporterReady();
    }
}

bool QMAVPlayerStatelessMetric::hasSessionId() const { return plugin_ && plugin_->sessionId(); }

void QMAVPlayerStatelessMetric::sendOnDemandReport(const QMJSON& report,
                                                   const std::string& completionPrefix) const {
    if (auto reporter = plugin_ ? plugin_->onDemandReporter() : nullptr) {
        reporter->sendOnDemandReport(
            report,
            [completionPrefix](const std::optional<QMJSON>&) { QMLogger::info("", completionPrefix); },
            nullptr);
    }
}

void QMAVPlayerStatelessMetric::stopObservingSessionId() {
    removeSessionId_ = true;
    if (plugin_) {
        plugin_->removeObserver(this, "sessionId");
    }
}
