#include "players/mpmovieplayer/QMMPMoviePlayerPlayingStateMetric.h"

#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

QMMPMoviePlayerPlayingStateMetric::QMMPMoviePlayerPlayingStateMetric()
    : player_(QMMPMoviePlayerControllerVeyraPlugin::currentPlayer()) {}

void QMMPMoviePlayerPlayingStateMetric::onBufferingChange(const QMNotification&) {
    const auto loadState = player_->loadState();
    if (loadState == MPMovieLoadStateStalled) {
        handleBuffering();
    } else if (loadState == MPMovieLoadStatePlayable || loadState == MPMovieLoadStatePlaythroughOK) {
        handlePlayback();
    }
}

void QMMPMoviePlayerPlayingStateMetric::onPlaybackStateChange(const QMNotification&) {
    if (player_->playbackState() == MPMoviePlaybackStatePlaying) {
        handleUnpause();
    } else {
        handlePause();
    }
}

void QMMPMoviePlayerPlayingStateMetric::observePlayer() {
    std::weak_ptr<QMMPMoviePlayerPlayingStateMetric> weakSelf = selfAs<QMMPMoviePlayerPlayingStateMetric>();
    auto center = QMNotificationCenter::defaultCenter();
    center->addObserver(this, MPMoviePlayerLoadStateDidChangeNotification, player_.get(),
                        [weakSelf](const QMNotification& notification) {
                            if (auto self = weakSelf.lock()) {
                                self->onBufferingChange(notification);
                            }
                        });
    center->addObserver(this, MPMoviePlayerPlaybackStateDidChangeNotification, player_.get(),
                        [weakSelf](const QMNotification& notification) {
                            if (auto self = weakSelf.lock()) {
                                self->onPlaybackStateChange(notification);
                            }
                        });
}

void QMMPMoviePlayerPlayingStateMetric::observePlayerNotification(const char* name, Action action) {
    std::weak_ptr<QMMPMoviePlayerPlayingStateMetric> weakSelf = selfAs<QMMPMoviePlayerPlayingStateMetric>();
    QMNotificationCenter::defaultCenter()->addObserver(this, name, player_.get(),
                                                       [weakSelf, action](const QMNotification&) {
                                                           if (auto self = weakSelf.lock()) {
                                                               action(*self);
                                                           }
                                                       });
}

void QMMPMoviePlayerPlayingStateMetric::stopObservingPlayer() {
    QMNotificationCenter::defaultCenter()->removeObserver(this);
}

}  // namespace veyrakit
