#include "players/mpmovieplayer/QMMPMoviePlayerBufferingMetric.h"

#include <any>

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "logging/QMLogger.h"
#include "platform/mediaplayer/MPMoviePlayerController.h"
#include "platform/mediaplayer/MPMoviePlayerNotifications.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMReportType.h"

namespace {

bool isPlaybackError(const QMNotification& notification) {
    auto it = notification.userInfo().find(MPMoviePlayerPlaybackDidFinishReasonUserInfoKey);
    if (it == notification.userInfo().end()) {
        return false;
    }
    const auto* reason = std::any_cast<long>(&it->second);
    return reason && *reason == MPMovieFinishReasonPlaybackError;
}

}  // namespace

QMMPMoviePlayerBufferingMetric::QMMPMoviePlayerBufferingMetric()
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()),
      player_(QMMPMoviePlayerControllerVeyraPlugin::currentPlayer()) {
    if (plugin_) {
        plugin_->addObserver(this, "sessionId", NSKeyValueObservingOptionNew, nullptr);
    }
}

QMMPMoviePlayerBufferingMetric::~QMMPMoviePlayerBufferingMetric() {
    // A metric released without being stopped (its manager never started) still lets go.
    if (!removeSessionId_) {
        stopObservingSessionId();
    }
}

void QMMPMoviePlayerBufferingMetric::startMetricCollection() {
    std::weak_ptr<QMMPMoviePlayerBufferingMetric> weakSelf = selfAs<QMMPMoviePlayerBufferingMetric>();
    auto center = QMNotificationCenter::defaultCenter();
    center->addObserver(this, MPMoviePlayerPlaybackDidFinishNotification, player_.get(),
                        [weakSelf](const QMNotification& notification) {
                            if (auto self = weakSelf.lock()) {
                                self->onMediaErrorEvent(notification);
                            }
                        });
    center->addObserver(this, MPMoviePlayerLoadStateDidChangeNotification, player_.get(),
                        [weakSelf](const QMNotification& notification) {
                            if (auto self = weakSelf.lock()) {
                                self->onBufferingChange(notification);
                            }
                        });
    takeLoadState();
}

void QMMPMoviePlayerBufferingMetric::stopMetricCollection() {
    QMBufferingMetric::stopMetricCollection();
    auto center = QMNotificationCenter::defaultCenter();
    center->removeObserver(this, MPMoviePlayerPlaybackDidFinishNotification, player_.get());
    center->removeObserver(this, MPMoviePlayerLoadStateDidChangeNotification, player_.get());
    if (!removeSessionId_) {
        stopObservingSessionId();
    }
}

void QMMPMoviePlayerBufferingMetric::observeValueForKeyPath(const std::string& keyPath, QMObject*,
                                                            const QMKeyValueChange&, void*) {
    if (keyPath == "sessionId" && plugin_ && plugin_->sessionId()) {
        stopObservingSessionId();
        onReporterReady();
    }
}

void QMMPMoviePlayerBufferingMetric::onBufferingChange(const QMNotification&) { takeLoadState(); }

void QMMPMoviePlayerBufferingMetric::onMediaErrorEvent(const QMNotification& notification) {
    if (isPlaybackError(notification)) {
        handleMediaError();
    }
}

void QMMPMoviePlayerBufferingMetric::handleMediaError() { onMediaError(); }

void QMMPMoviePlayerBufferingMetric::makeJoinTimeOnDemandRequest(int64_t joinTime) {
    QMJSON report = QMJSON::object();
    report["type"] = QMReportType::JOIN_TIME();
    report[PROPERTY_JOIN_TIME()] = joinTime;
    if (plugin_ && plugin_->sessionId()) {
        sendJoinTimeReport(report);
    } else {
        unsentJoinTimeReport_ = report;
    }
}

void QMMPMoviePlayerBufferingMetric::onReporterReady() {
    if (unsentJoinTimeReport_) {
        sendJoinTimeReport(*unsentJoinTimeReport_);
        unsentJoinTimeReport_.reset();
    }
}

const std::string& QMMPMoviePlayerBufferingMetric::currentBufferingKey() const {
    return PROPERTY_CURRENT_BUFFER_TIME();
}

bool QMMPMoviePlayerBufferingMetric::reopensIntervalAfterReport() const { return true; }

void QMMPMoviePlayerBufferingMetric::takeLoadState() {
    if (!player_) {
        return;
    }
    // Equality, not bits: the combination playable and playthrough OK (3) changes nothing.
    const auto loadState = player_->loadState();
    if (loadState == MPMovieLoadStateStalled) {
        handleBuffering();
    } else if (loadState == MPMovieLoadStatePlayable || loadState == MPMovieLoadStatePlaythroughOK) {
        handlePlayback();
    }
}

void QMMPMoviePlayerBufferingMetric::sendJoinTimeReport(const QMJSON& report) {
    if (auto reporter = plugin_ ? plugin_->onDemandReporter() : nullptr) {
        reporter->sendOnDemandReport(
            report, [](const std::optional<QMJSON>&) { QMLogger::info("", "JR"); }, nullptr);
    }
}

void QMMPMoviePlayerBufferingMetric::stopObservingSessionId() {
    removeSessionId_ = true;
    if (plugin_) {
        plugin_->removeObserver(this, "sessionId");
    }
}
