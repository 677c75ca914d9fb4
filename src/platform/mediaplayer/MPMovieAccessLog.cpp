#include "veyrakit/platform/mediaplayer/MPMovieAccessLog.h"

namespace veyrakit {

MPMovieAccessLog::MPMovieAccessLog() = default;

MPMovieAccessLog::~MPMovieAccessLog() = default;

}  // namespace veyrakit
