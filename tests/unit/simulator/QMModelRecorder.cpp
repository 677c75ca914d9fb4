#include "QMModelRecorder.h"

#include <cstdio>

#include "platform/QMClock.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

namespace {

const char* const playerKeys[] = {"rate", "status", "error", "currentItem"};
const char* const itemKeys[] = {"status",
                                "error",
                                "duration",
                                "presentationSize",
                                "playbackBufferEmpty",
                                "playbackLikelyToKeepUp",
                                "playbackBufferFull"};
const char* const itemNotifications[] = {
    AVPlayerItemDidPlayToEndTimeNotification,  AVPlayerItemFailedToPlayToEndTimeNotification,
    AVPlayerItemTimeJumpedNotification,        AVPlayerItemPlaybackStalledNotification,
    AVPlayerItemNewAccessLogEntryNotification, AVPlayerItemNewErrorLogEntryNotification};
const char* const mpMoviePlayerNotifications[] = {MPMovieDurationAvailableNotification,
                                                  MPMovieMediaTypesAvailableNotification,
                                                  MPMovieNaturalSizeAvailableNotification,
                                                  MPMovieSourceTypeAvailableNotification,
                                                  MPMoviePlayerWillEnterFullscreenNotification,
                                                  MPMoviePlayerDidEnterFullscreenNotification,
                                                  MPMoviePlayerWillExitFullscreenNotification,
                                                  MPMoviePlayerDidExitFullscreenNotification,
                                                  MPMoviePlayerIsAirPlayVideoActiveDidChangeNotification,
                                                  MPMoviePlayerLoadStateDidChangeNotification,
                                                  MPMoviePlayerNowPlayingMovieDidChangeNotification,
                                                  MPMoviePlayerPlaybackDidFinishNotification,
                                                  MPMoviePlayerPlaybackStateDidChangeNotification,
                                                  MPMoviePlayerScalingModeDidChangeNotification,
                                                  MPMoviePlayerReadyForDisplayDidChangeNotification};

std::string number(double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%g", value);
    return buffer;
}

std::string errorText(const std::shared_ptr<QMError>& error) {
    return error ? error->domain() + "/" + std::to_string(error->code()) + "/" + error->localizedDescription()
                 : "(null)";
}

// The new value of a change, in the type its model documents for the key.
std::string valueText(const std::any& value) {
    if (auto v = std::any_cast<float>(&value)) return number(*v);
    if (auto v = std::any_cast<double>(&value)) return number(*v);
    if (auto v = std::any_cast<bool>(&value)) return *v ? "YES" : "NO";
    if (auto v = std::any_cast<AVPlayerStatus>(&value)) return std::to_string(*v);
    if (auto v = std::any_cast<AVPlayerItemStatus>(&value)) return std::to_string(*v);
    if (auto v = std::any_cast<MPMoviePlaybackState>(&value)) return std::to_string(*v);
    if (auto v = std::any_cast<MPMovieLoadState>(&value)) return std::to_string(*v);
    if (auto v = std::any_cast<MPMovieMediaTypeMask>(&value)) return std::to_string(*v);
    if (auto v = std::any_cast<MPMovieSourceType>(&value)) return std::to_string(*v);
    if (auto v = std::any_cast<MPMovieScalingMode>(&value)) return std::to_string(*v);
    if (auto v = std::any_cast<CGSize>(&value)) return number(v->width) + "x" + number(v->height);
    if (auto v = std::any_cast<CMTime>(&value))
        return CMTIME_IS_INDEFINITE(*v) ? "indefinite" : number(CMTimeGetSeconds(*v));
    if (auto v = std::any_cast<std::shared_ptr<QMError>>(&value)) return errorText(*v);
    if (auto v = std::any_cast<std::shared_ptr<AVPlayerItem>>(&value)) return *v ? "item" : "(null)";
    if (auto v = std::any_cast<std::shared_ptr<QMURL>>(&value)) return *v ? (*v)->absoluteString() : "(null)";
    return "?";
}

// What a movie player notification is about, read from the player when it arrives.
std::string mpMoviePlayerValue(const std::string& name, const MPMoviePlayerController& player) {
    if (name == MPMovieDurationAvailableNotification) return number(player.duration());
    if (name == MPMovieMediaTypesAvailableNotification) return std::to_string(player.movieMediaTypes());
    if (name == MPMovieNaturalSizeAvailableNotification)
        return number(player.naturalSize().width) + "x" + number(player.naturalSize().height);
    if (name == MPMovieSourceTypeAvailableNotification) return std::to_string(player.movieSourceType());
    if (name == MPMoviePlayerIsAirPlayVideoActiveDidChangeNotification)
        return player.isAirPlayVideoActive() ? "YES" : "NO";
    if (name == MPMoviePlayerLoadStateDidChangeNotification) return std::to_string(player.loadState());
    if (name == MPMoviePlayerPlaybackStateDidChangeNotification)
        return std::to_string(player.playbackState());
    if (name == MPMoviePlayerScalingModeDidChangeNotification) return std::to_string(player.scalingMode());
    if (name == MPMoviePlayerReadyForDisplayDidChangeNotification)
        return player.readyForDisplay() ? "YES" : "NO";
    if (name == MPMoviePlayerPlaybackDidFinishNotification) return "";
    return player.isFullscreen() ? "fullscreen=YES" : "fullscreen=NO";
}

}  // namespace

QMModelRecorder::QMModelRecorder() : originMillis_(QMClock::currentTimeMillis()) {}

QMModelRecorder::~QMModelRecorder() { unwatch(); }

void QMModelRecorder::watch(const std::shared_ptr<AVPlayer>& player) {
    player_ = player;
    item_ = player->currentItem();
    for (const char* key : playerKeys) {
        player_->addObserver(this, key, NSKeyValueObservingOptionNew, nullptr);
    }
    for (const char* key : itemKeys) {
        item_->addObserver(this, key, NSKeyValueObservingOptionNew, nullptr);
    }
    for (const char* name : itemNotifications) {
        QMNotificationCenter::defaultCenter()->addObserver(
            this, name, item_.get(), [this](const QMNotification& note) {
                std::string what = note.name();
                const auto error = note.userInfo().find(AVPlayerItemFailedToPlayToEndTimeErrorKey);
                if (error != note.userInfo().end()) {
                    what += " " + errorText(std::any_cast<std::shared_ptr<QMError>>(error->second));
                }
                record(what);
            });
    }
}

void QMModelRecorder::watch(const std::shared_ptr<MPMoviePlayerController>& player) {
    mpMoviePlayer_ = player;
    for (const char* name : mpMoviePlayerNotifications) {
        QMNotificationCenter::defaultCenter()->addObserver(
            this, name, player.get(), [this](const QMNotification& note) {
                std::string what = note.name();
                const std::string value = mpMoviePlayerValue(note.name(), *mpMoviePlayer_);
                if (!value.empty()) {
                    what += " " + value;
                }
                const auto& info = note.userInfo();
                if (auto reason = info.find(MPMoviePlayerPlaybackDidFinishReasonUserInfoKey);
                    reason != info.end()) {
                    what += " reason=" + std::to_string(std::any_cast<long>(reason->second));
                }
                if (auto error = info.find(MPMoviePlayerPlaybackDidFinishErrorUserInfoKey);
                    error != info.end()) {
                    what += " error=" + errorText(std::any_cast<std::shared_ptr<QMError>>(error->second));
                }
                record(what);
            });
    }
}

void QMModelRecorder::unwatch() {
    QMNotificationCenter::defaultCenter()->removeObserver(this);
    if (player_) {
        for (const char* key : playerKeys) {
            player_->removeObserver(this, key);
        }
        for (const char* key : itemKeys) {
            item_->removeObserver(this, key);
        }
    }
    player_.reset();
    item_.reset();
    mpMoviePlayer_.reset();
}

std::vector<std::string> QMModelRecorder::linesStartingWith(const std::string& prefix) const {
    std::vector<std::string> found;
    for (const auto& line : lines_) {
        const auto space = line.find(' ');
        if (line.compare(space + 1, prefix.size(), prefix) == 0) {
            found.push_back(line);
        }
    }
    return found;
}

void QMModelRecorder::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                             const QMKeyValueChange& change, void* context) {
    const std::string owner = object == player_.get() ? "player." : "item.";
    const auto value = change.find(NSKeyValueChangeNewKey);
    record(owner + keyPath + " " + (value == change.end() ? "-" : valueText(value->second)));
}

void QMModelRecorder::record(const std::string& what) {
    lines_.push_back(std::to_string(QMClock::currentTimeMillis() - originMillis_) + " " + what);
}

}  // namespace veyrakit
