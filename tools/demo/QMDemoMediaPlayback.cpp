#include "demo/QMDemoMediaPlayback.h"

#include "demo/QMDemoError.h"
#include "platform/QMRunLoop.h"
#if VEYRAKIT_DEMO_GSTREAMER
#include "demo/QMDemoAVPlayerMediaPlayback.h"
#endif

std::unique_ptr<QMDemoMediaPlayback> QMDemoMediaPlayback::make(QMDemoOptions::Player player) {
#if VEYRAKIT_DEMO_GSTREAMER
    if (player == QMDemoOptions::Player::AVPlayer) return std::make_unique<QMDemoAVPlayerMediaPlayback>();
    throw QMDemoError(
        "--media: the movie player kind cannot play real media in this build (use --player avplayer)",
        QMDemoError::kFailure);
#else
    throw QMDemoError(
        "--media: this build has no real player (GStreamer 1.22 or later was not found when it was "
        "configured)",
        QMDemoError::kFailure);
#endif
}

bool QMDemoMediaPlayback::isOver() const {
    return mediaOver() && sessionEnded() && QMRunLoop::mainRunLoop()->transferCount() == 0;
}
