#include "players/mpmovieplayer/QMMPMoviePlayerPlaybackMetric.h"

#include "players/common/QMWeakObservation.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

QMMPMoviePlayerPlaybackMetric::QMMPMoviePlayerPlaybackMetric() {
    // Made before any shared owner exists: the handler calls in through the registration, which
    // the destructor removes. The announcement is taken by the argument-less operation and the
    // duration kept in whole seconds.
    QMNotificationCenter::defaultCenter()->addObserver(
        this, MPMovieDurationAvailableNotification, player_.get(),
        [this](const QMNotification&) { onDurationChangeEvent(); });
}

QMMPMoviePlayerPlaybackMetric::~QMMPMoviePlayerPlaybackMetric() {
    QMNotificationCenter::defaultCenter()->removeObserver(this);
}

void QMMPMoviePlayerPlaybackMetric::startMetricCollection() {
    observeWhileAlive(*this, MPMoviePlayerPlaybackDidFinishNotification, player_.get(),
                      [](QMMPMoviePlayerPlaybackMetric& self, const QMNotification& notification) {
                          self.itemDidFinishPlaying(&notification);
                      });
}

void QMMPMoviePlayerPlaybackMetric::stopMetricCollection() {
    QMPlayerPlaybackMetric::stopMetricCollection();
    QMNotificationCenter::defaultCenter()->removeObserver(this, MPMoviePlayerPlaybackDidFinishNotification,
                                                          player_.get());
}

QMJSON QMMPMoviePlayerPlaybackMetric::playingValue() const {
    return player_ && player_->playbackState() == MPMoviePlaybackStatePlaying;
}

double QMMPMoviePlayerPlaybackMetric::durationSeconds() const { return player_ ? player_->duration() : 0.0; }

bool QMMPMoviePlayerPlaybackMetric::claimsCompletion() {
    if (unScheduledPeriodicalSent_) {
        return false;
    }
    // Lowered, not raised: the guard never closes, so every completion reports and destroys.
    unScheduledPeriodicalSent_ = false;
    return true;
}

}  // namespace veyrakit
