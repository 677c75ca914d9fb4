#pragma once
#include <memory>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// A timed media resource. Assets that are not URL assets (compositions, assets made in memory)
// are plain AVAsset objects: they have no URL to show.
class VEYRAKIT_EXPORT AVAsset : public QMObject {
  public:
    AVAsset();
    ~AVAsset() override;
};

}  // namespace veyrakit
