#include "platform/avfoundation/AVAsset.h"

AVAsset::AVAsset() = default;

AVAsset::~AVAsset() = default;
