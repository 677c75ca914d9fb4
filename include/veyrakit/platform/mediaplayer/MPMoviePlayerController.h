#pragma once
#include <cstdint>
#include <functional>
#include <memory>

#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/QMURL.h"
#include "veyrakit/platform/avfoundation/CGSize.h"
#include "veyrakit/platform/mediaplayer/MPMovieAccessLog.h"
#include "veyrakit/platform/mediaplayer/MPMovieErrorLog.h"

namespace veyrakit {

enum MPMoviePlaybackState : long {
    MPMoviePlaybackStateStopped = 0,
    MPMoviePlaybackStatePlaying = 1,
    MPMoviePlaybackStatePaused = 2,
    MPMoviePlaybackStateInterrupted = 3,
    MPMoviePlaybackStateSeekingForward = 4,
    MPMoviePlaybackStateSeekingBackward = 5,
};

// A bit mask: combinations such as Playable | PlaythroughOK (3) occur.
enum MPMovieLoadState : unsigned long {
    MPMovieLoadStateUnknown = 0,
    MPMovieLoadStatePlayable = 1 << 0,
    MPMovieLoadStatePlaythroughOK = 1 << 1,
    MPMovieLoadStateStalled = 1 << 2,
};

enum MPMovieMediaTypeMask : unsigned long {
    MPMovieMediaTypeMaskNone = 0,
    MPMovieMediaTypeMaskVideo = 1 << 0,
    MPMovieMediaTypeMaskAudio = 1 << 1,
};

enum MPMovieSourceType : long {
    MPMovieSourceTypeUnknown = 0,
    MPMovieSourceTypeFile = 1,
    MPMovieSourceTypeStreaming = 2,
};

enum MPMovieScalingMode : long {
    MPMovieScalingModeNone = 0,
    MPMovieScalingModeAspectFit = 1,
    MPMovieScalingModeAspectFill = 2,
    MPMovieScalingModeFill = 3,
};

enum MPMovieFinishReason : long {
    MPMovieFinishReasonPlaybackEnded = 0,
    MPMovieFinishReasonPlaybackError = 1,
    MPMovieFinishReasonUserExited = 2,
};

// The movie player controller with the platform's observable surface. Its own signals are
// notifications (MPMoviePlayerNotifications.h), posted through the default centre with the
// player as sender; a setter posts its notification only when the value really changes. The
// same keys are key-value observable as well, announced before the notification, with the
// property's own type under NSKeyValueChangeNewKey (an enum of this header, double, CGSize,
// bool, std::shared_ptr<QMURL>).
//
// The playhead (currentPlaybackTime) moves by itself on the main run loop's clock while the
// state is playing and the load state is playable or playthrough-OK without the stalled bit:
// by currentPlaybackRate times the elapsed time, held between zero and a known duration.
class VEYRAKIT_EXPORT MPMoviePlayerController : public QMObject {
  public:
    explicit MPMoviePlayerController(std::shared_ptr<QMURL> contentURL);
    ~MPMoviePlayerController() override;

    const std::shared_ptr<QMURL>& contentURL() const { return contentURL_; }
    // Posts MPMoviePlayerNowPlayingMovieDidChangeNotification.
    void setContentURL(std::shared_ptr<QMURL> contentURL);

    // MPMoviePlayerPlaybackStateDidChangeNotification.
    MPMoviePlaybackState playbackState() const { return playbackState_; }
    void setPlaybackState(MPMoviePlaybackState playbackState);
    void play() { setPlaybackState(MPMoviePlaybackStatePlaying); }
    void pause() { setPlaybackState(MPMoviePlaybackStatePaused); }
    void stop() { setPlaybackState(MPMoviePlaybackStateStopped); }

    // MPMoviePlayerLoadStateDidChangeNotification.
    MPMovieLoadState loadState() const { return loadState_; }
    void setLoadState(MPMovieLoadState loadState);

    // Seconds; 0.0 until known. MPMovieDurationAvailableNotification.
    double duration() const { return duration_; }
    void setDuration(double duration);

    double currentPlaybackTime() const;
    // Whether currentPlaybackTime is moving now; the model's own helper for whoever drives it.
    bool isPlayheadMoving() const;
    // Moves the playhead (no notification, as on the platform). Key-value observable as
    // "currentPlaybackTime" (double), with the position before the jump as the old value.
    void setCurrentPlaybackTime(double currentPlaybackTime);
    float currentPlaybackRate() const { return currentPlaybackRate_; }
    void setCurrentPlaybackRate(float currentPlaybackRate);

    // MPMovieNaturalSizeAvailableNotification.
    CGSize naturalSize() const { return naturalSize_; }
    void setNaturalSize(CGSize naturalSize);
    // MPMovieMediaTypesAvailableNotification.
    MPMovieMediaTypeMask movieMediaTypes() const { return movieMediaTypes_; }
    void setMovieMediaTypes(MPMovieMediaTypeMask movieMediaTypes);
    // MPMovieSourceTypeAvailableNotification.
    MPMovieSourceType movieSourceType() const { return movieSourceType_; }
    void setMovieSourceType(MPMovieSourceType movieSourceType);
    // MPMoviePlayerScalingModeDidChangeNotification.
    MPMovieScalingMode scalingMode() const { return scalingMode_; }
    void setScalingMode(MPMovieScalingMode scalingMode);
    // MPMoviePlayerIsAirPlayVideoActiveDidChangeNotification.
    bool isAirPlayVideoActive() const { return airPlayVideoActive_; }
    void setAirPlayVideoActive(bool airPlayVideoActive);
    // MPMoviePlayerReadyForDisplayDidChangeNotification.
    bool readyForDisplay() const { return readyForDisplay_; }
    void setReadyForDisplay(bool readyForDisplay);

    // Posts MPMoviePlayerWillEnterFullscreenNotification, changes the flag, then
    // MPMoviePlayerDidEnterFullscreenNotification (Will/DidExit when leaving).
    bool isFullscreen() const { return fullscreen_; }
    void setFullscreen(bool fullscreen, bool animated);
    void setFullscreen(bool fullscreen) { setFullscreen(fullscreen, false); }

    // Nothing until the first event has been added. The movie player posts no notification for
    // a new log entry.
    std::shared_ptr<MPMovieAccessLog> accessLog() const { return accessLog_; }
    std::shared_ptr<MPMovieErrorLog> errorLog() const { return errorLog_; }
    void addAccessLogEvent(std::shared_ptr<MPMovieAccessLogEvent> event);
    void addErrorLogEvent(std::shared_ptr<MPMovieErrorLogEvent> event);

    // Posts MPMoviePlayerPlaybackDidFinishNotification with the reason (and the error, when
    // given) in the user info.
    void finishPlayback(MPMovieFinishReason reason, const std::shared_ptr<QMError>& error);

  private:
    int64_t positionNanosAt(int64_t nowMicros) const;
    // Fixes the playhead at the present moment before anything that changes its speed.
    void reanchor();
    // Sets an observable property and posts its notification when it really changed.
    template <typename T, typename Equal = std::equal_to<T>>
    void change(const char* key, T& field, T value, const char* notification, Equal equal = Equal{});

    std::shared_ptr<QMURL> contentURL_;
    MPMoviePlaybackState playbackState_ = MPMoviePlaybackStateStopped;
    MPMovieLoadState loadState_ = MPMovieLoadStateUnknown;
    double duration_ = 0.0;
    float currentPlaybackRate_ = 1.0f;
    CGSize naturalSize_ = CGSizeZero;
    MPMovieMediaTypeMask movieMediaTypes_ = MPMovieMediaTypeMaskNone;
    MPMovieSourceType movieSourceType_ = MPMovieSourceTypeUnknown;
    MPMovieScalingMode scalingMode_ = MPMovieScalingModeAspectFit;
    bool airPlayVideoActive_ = false;
    bool readyForDisplay_ = false;
    bool fullscreen_ = false;
    std::shared_ptr<MPMovieAccessLog> accessLog_;
    std::shared_ptr<MPMovieErrorLog> errorLog_;
    int64_t anchorNanos_ = 0;
    int64_t anchorMicros_ = 0;
};

}  // namespace veyrakit
