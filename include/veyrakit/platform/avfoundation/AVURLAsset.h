#pragma once
#include <memory>

#include "veyrakit/platform/QMURL.h"
#include "veyrakit/platform/avfoundation/AVAsset.h"

namespace veyrakit {

// An asset loaded from a URL (a file, a progressive download, a master playlist).
class VEYRAKIT_EXPORT AVURLAsset : public AVAsset {
  public:
    explicit AVURLAsset(std::shared_ptr<QMURL> URL);
    // The platform's options dictionary is not modelled.
    static std::shared_ptr<AVURLAsset> URLAssetWithURL(std::shared_ptr<QMURL> URL);

    const std::shared_ptr<QMURL>& URL() const { return URL_; }
    std::string description() const override;

  private:
    std::shared_ptr<QMURL> URL_;
};

}  // namespace veyrakit
