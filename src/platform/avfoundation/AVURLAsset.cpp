#include "veyrakit/platform/avfoundation/AVURLAsset.h"

namespace veyrakit {

AVURLAsset::AVURLAsset(std::shared_ptr<QMURL> URL) : URL_(std::move(URL)) {}

std::shared_ptr<AVURLAsset> AVURLAsset::URLAssetWithURL(std::shared_ptr<QMURL> URL) {
    return std::make_shared<AVURLAsset>(std::move(URL));
}

std::string AVURLAsset::description() const {
    return "<AVURLAsset: URL = " + (URL_ ? URL_->absoluteString() : std::string("(null)")) + ">";
}

}  // namespace veyrakit
