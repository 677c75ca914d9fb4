#pragma once
#include <optional>

#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// The finish reason (an MPMovieFinishReason value) that a movie player's end-of-playback
// notification carries; nothing when it carries none, or not as a number. Each reader decides
// what a missing reason counts as.
std::optional<long> finishReasonOf(const QMNotification& notification);

}  // namespace veyrakit
