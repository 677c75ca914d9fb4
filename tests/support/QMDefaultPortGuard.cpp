#include "support/QMDefaultPortGuard.h"

#include <gtest/gtest.h>

#include <atomic>

#include "platform/QMCurlURLTransport.h"
#include "platform/QMURLRequest.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

// The refused exchange: its failure arrives as a loop task, as the network's would.
class RefusedExchange : public QMURLExchange {
  public:
    void cancel() override { *cancelled_ = true; }
    std::shared_ptr<std::atomic<bool>> cancelled() const { return cancelled_; }

  private:
    std::shared_ptr<std::atomic<bool>> cancelled_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace

std::shared_ptr<QMDefaultPortGuard> QMDefaultPortGuard::shared() {
    static const auto guard = std::make_shared<QMDefaultPortGuard>();
    return guard;
}

std::shared_ptr<QMRunLoop> QMDefaultPortGuard::guardedLoop() {
    auto loop = std::make_shared<QMRunLoop>();
    loop->setURLTransport(shared());
    return loop;
}

bool QMDefaultPortGuard::isDefaultPort(int port) { return port == 8080 || port == 8081 || port == 8082; }

std::shared_ptr<QMURLExchange> QMDefaultPortGuard::start(const std::shared_ptr<QMRunLoop>& loop,
                                                         std::shared_ptr<QMURLRequest> request,
                                                         Events events) {
    const auto port = request->URL() ? request->URL()->port() : std::nullopt;
    if (!port || !isDefaultPort(*port)) {
        return QMCurlURLTransport::sharedTransport()->start(loop, std::move(request), std::move(events));
    }
    ADD_FAILURE() << "the test reached a fixed default port: " << request->URL()->absoluteString()
                  << " (point every stream at a server the test started)";
    auto exchange = std::make_shared<RefusedExchange>();
    loop->post([cancelled = exchange->cancelled(), failure = std::move(events.failure)] {
        if (!*cancelled)
            failure(QMError::errorWithDomain(NSURLErrorDomain, NSURLErrorCannotConnectToHost,
                                             "Could not connect to the server."));
    });
    return exchange;
}

}  // namespace veyrakit
