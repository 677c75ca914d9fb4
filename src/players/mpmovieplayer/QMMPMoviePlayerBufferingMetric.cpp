#include "players/mpmovieplayer/QMMPMoviePlayerBufferingMetric.h"

#include <any>

#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

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
    : player_(QMMPMoviePlayerControllerVeyraPlugin::currentPlayer()) {}

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
    QMPluginBufferingMetric::stopMetricCollection();
    auto center = QMNotificationCenter::defaultCenter();
    center->removeObserver(this, MPMoviePlayerPlaybackDidFinishNotification, player_.get());
    center->removeObserver(this, MPMoviePlayerLoadStateDidChangeNotification, player_.get());
    stopObservingSessionIdOnce();
}

void QMMPMoviePlayerBufferingMetric::onBufferingChange(const QMNotification&) { takeLoadState(); }

void QMMPMoviePlayerBufferingMetric::onMediaErrorEvent(const QMNotification& notification) {
    if (isPlaybackError(notification)) {
        handleMediaError();
    }
}

void QMMPMoviePlayerBufferingMetric::handleMediaError() { onMediaError(); }

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

}  // namespace veyrakit
