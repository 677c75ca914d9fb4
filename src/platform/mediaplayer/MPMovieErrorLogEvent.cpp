#include "veyrakit/platform/mediaplayer/MPMovieErrorLogEvent.h"

namespace veyrakit {

MPMovieErrorLogEvent::MPMovieErrorLogEvent() = default;

MPMovieErrorLogEvent::~MPMovieErrorLogEvent() = default;

}  // namespace veyrakit
