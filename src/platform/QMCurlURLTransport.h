#pragma once
#include <memory>

#include "platform/QMURLTransport.h"

namespace veyrakit {

// The network transport: each exchange is a libcurl easy handle in the run loop's multi handle,
// so sockets are driven by the loop's own poll. Stateless: one instance serves every loop.
class VEYRAKIT_EXPORT QMCurlURLTransport : public QMURLTransport {
  public:
    static std::shared_ptr<QMCurlURLTransport> sharedTransport();

    std::shared_ptr<QMURLExchange> start(const std::shared_ptr<QMRunLoop>& loop,
                                         std::shared_ptr<QMURLRequest> request, Events events) override;
};

}  // namespace veyrakit
