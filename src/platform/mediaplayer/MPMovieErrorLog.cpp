#include "veyrakit/platform/mediaplayer/MPMovieErrorLog.h"

namespace veyrakit {

MPMovieErrorLog::MPMovieErrorLog() = default;

MPMovieErrorLog::~MPMovieErrorLog() = default;

}  // namespace veyrakit
