#include "veyrakit/platform/mediaplayer/MPMovieAccessLogEvent.h"

namespace veyrakit {

MPMovieAccessLogEvent::MPMovieAccessLogEvent() = default;

MPMovieAccessLogEvent::~MPMovieAccessLogEvent() = default;

}  // namespace veyrakit
