#pragma once
#include <memory>

#include "platform/QMObject.h"

// A timed media resource. Assets that are not URL assets (compositions, assets made in memory)
// are plain AVAsset objects: they have no URL to show.
class VEYRAKIT_EXPORT AVAsset : public QMObject {
  public:
    AVAsset();
    ~AVAsset() override;
};
