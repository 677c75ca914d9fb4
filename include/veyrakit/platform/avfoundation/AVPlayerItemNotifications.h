#pragma once

namespace veyrakit {

// Notifications an AVPlayerItem posts, with the item as sender, and the user-info key of the
// failure notification. The values are the platform's.
inline constexpr const char* AVPlayerItemDidPlayToEndTimeNotification =
    "AVPlayerItemDidPlayToEndTimeNotification";
// userInfo: AVPlayerItemFailedToPlayToEndTimeErrorKey -> std::shared_ptr<QMError>.
inline constexpr const char* AVPlayerItemFailedToPlayToEndTimeNotification =
    "AVPlayerItemFailedToPlayToEndTimeNotification";
inline constexpr const char* AVPlayerItemFailedToPlayToEndTimeErrorKey =
    "AVPlayerItemFailedToPlayToEndTimeErrorKey";
inline constexpr const char* AVPlayerItemTimeJumpedNotification = "AVPlayerItemTimeJumpedNotification";
inline constexpr const char* AVPlayerItemPlaybackStalledNotification =
    "AVPlayerItemPlaybackStalledNotification";
inline constexpr const char* AVPlayerItemNewAccessLogEntryNotification =
    "AVPlayerItemNewAccessLogEntryNotification";
inline constexpr const char* AVPlayerItemNewErrorLogEntryNotification =
    "AVPlayerItemNewErrorLogEntryNotification";

}  // namespace veyrakit
