#include "players/mpmovieplayer/QMMPMoviePlayerStatelessMetric.h"

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "logging/QMLogger.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "reporting/QMOnDemandReporter.h"

QMMPMoviePlayerStatelessMetric::QMMPMoviePlayerStatelessMetric()
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()),
      player_(QMMPMoviePlayerControllerVeyraPlugin::currentPlayer()) {
    if (plugin_) {
        plugin_->addObserver(this, "sessionId", NSKeyValueObservingOptionNew, nullptr);
    }
}

QMMPMoviePlayerStatelessMetric::~QMMPMoviePlayerStatelessMetric() {
    // A metric released without being stopped (its manager never started) still lets go.
    if (!removeSessionId_) {
        stopObservingSessionId();
    }
    plugin_.reset();
}

bool QMMPMoviePlayerStatelessMetric::canCollectMetric() { return true; }

void QMMPMoviePlayerStatelessMetric::stopMetricCollection() {
    QMStatelessMetric::stopMetricCollection();
    if (!removeSessionId_) {
        stopObservingSessionId();
    }
}

void QMMPMoviePlayerStatelessMetric::observeValueForKeyPath(const std::string& keyPath, QMObject*,
                                                            const QMKeyValueChange&, void*) {
    if (keyPath == "sessionId" && hasSessionId()) {
        stopObservingSessionId();
        onReporterReady();
    }
}

bool QMMPMoviePlayerStatelessMetric::hasSessionId() const { return plugin_ && plugin_->sessionId(); }

void QMMPMoviePlayerStatelessMetric::sendOnDemandReport(const QMJSON& report,
                                                        const std::string& completionPrefix) const {
    if (auto reporter = plugin_ ? plugin_->onDemandReporter() : nullptr) {
        reporter->sendOnDemandReport(
            report,
            [completionPrefix](const std::optional<QMJSON>&) { QMLogger::info("", completionPrefix); },
            nullptr);
    }
}

void QMMPMoviePlayerStatelessMetric::stopObservingSessionId() {
    removeSessionId_ = true;
    if (plugin_) {
        plugin_->removeObserver(this, "sessionId");
    }
}
