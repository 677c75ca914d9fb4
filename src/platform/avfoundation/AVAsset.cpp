#include "veyrakit/platform/avfoundation/AVAsset.h"

namespace veyrakit {

AVAsset::AVAsset() = default;

AVAsset::~AVAsset() = default;

}  // namespace veyrakit
