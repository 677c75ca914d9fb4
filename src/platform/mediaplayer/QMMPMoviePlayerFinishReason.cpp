#include "platform/mediaplayer/QMMPMoviePlayerFinishReason.h"

#include <any>

#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

std::optional<long> finishReasonOf(const QMNotification& notification) {
    auto it = notification.userInfo().find(MPMoviePlayerPlaybackDidFinishReasonUserInfoKey);
    const long* reason = it == notification.userInfo().end() ? nullptr : std::any_cast<long>(&it->second);
    return reason ? std::optional<long>(*reason) : std::nullopt;
}

}  // namespace veyrakit
