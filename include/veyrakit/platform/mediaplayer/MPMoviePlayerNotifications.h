#pragma once

namespace veyrakit {

// Notifications a movie player posts, with the player as sender, and the user-info keys of the
// end-of-playback notification. The values are the platform's.
inline constexpr const char* MPMovieDurationAvailableNotification = "MPMovieDurationAvailableNotification";
inline constexpr const char* MPMovieMediaTypesAvailableNotification =
    "MPMovieMediaTypesAvailableNotification";
inline constexpr const char* MPMovieNaturalSizeAvailableNotification =
    "MPMovieNaturalSizeAvailableNotification";
inline constexpr const char* MPMovieSourceTypeAvailableNotification =
    "MPMovieSourceTypeAvailableNotification";
inline constexpr const char* MPMoviePlayerWillEnterFullscreenNotification =
    "MPMoviePlayerWillEnterFullscreenNotification";
inline constexpr const char* MPMoviePlayerDidEnterFullscreenNotification =
    "MPMoviePlayerDidEnterFullscreenNotification";
inline constexpr const char* MPMoviePlayerWillExitFullscreenNotification =
    "MPMoviePlayerWillExitFullscreenNotification";
inline constexpr const char* MPMoviePlayerDidExitFullscreenNotification =
    "MPMoviePlayerDidExitFullscreenNotification";
inline constexpr const char* MPMoviePlayerIsAirPlayVideoActiveDidChangeNotification =
    "MPMoviePlayerIsAirPlayVideoActiveDidChangeNotification";
inline constexpr const char* MPMoviePlayerLoadStateDidChangeNotification =
    "MPMoviePlayerLoadStateDidChangeNotification";
inline constexpr const char* MPMoviePlayerNowPlayingMovieDidChangeNotification =
    "MPMoviePlayerNowPlayingMovieDidChangeNotification";
// userInfo: MPMoviePlayerPlaybackDidFinishReasonUserInfoKey -> long (an MPMovieFinishReason
// value) and, for a playback error, "error" -> std::shared_ptr<QMError>.
inline constexpr const char* MPMoviePlayerPlaybackDidFinishNotification =
    "MPMoviePlayerPlaybackDidFinishNotification";
inline constexpr const char* MPMoviePlayerPlaybackDidFinishReasonUserInfoKey =
    "MPMoviePlayerPlaybackDidFinishReasonUserInfoKey";
inline constexpr const char* MPMoviePlayerPlaybackDidFinishErrorUserInfoKey = "error";
inline constexpr const char* MPMoviePlayerPlaybackStateDidChangeNotification =
    "MPMoviePlayerPlaybackStateDidChangeNotification";
inline constexpr const char* MPMoviePlayerScalingModeDidChangeNotification =
    "MPMoviePlayerScalingModeDidChangeNotification";
inline constexpr const char* MPMoviePlayerReadyForDisplayDidChangeNotification =
    "MPMoviePlayerReadyForDisplayDidChangeNotification";

}  // namespace veyrakit
