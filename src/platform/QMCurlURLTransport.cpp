#include "platform/QMCurlURLTransport.h"

#include <utility>

#include "platform/QMURLTransfer.h"

namespace veyrakit {

std::shared_ptr<QMCurlURLTransport> QMCurlURLTransport::sharedTransport() {
    static const auto transport = std::make_shared<QMCurlURLTransport>();
    return transport;
}

std::shared_ptr<QMURLExchange> QMCurlURLTransport::start(const std::shared_ptr<QMRunLoop>& loop,
                                                         std::shared_ptr<QMURLRequest> request,
                                                         Events events) {
    return QMURLTransfer::start(loop, std::move(request), std::move(events));
}

}  // namespace veyrakit
