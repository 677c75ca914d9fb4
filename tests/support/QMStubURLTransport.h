#pragma once
#include <memory>

#include "platform/QMURLTransport.h"

namespace veyrakit {

class QMURLStubRegistry;

// The run loop's URL transport in tests: every exchange is answered by the stub registry (a
// request no stub matches fails with NSURLErrorCannotConnectToHost) and played on the main loop,
// one step per loop task after the stub's delay on the loop's clock, with the event order of the
// network. While the registry is disabled exchanges go to the network as usual.
class QMStubURLTransport : public QMURLTransport {
  public:
    explicit QMStubURLTransport(QMURLStubRegistry& registry) : registry_(registry) {}

    std::shared_ptr<QMURLExchange> start(const std::shared_ptr<QMRunLoop>& loop,
                                         std::shared_ptr<QMURLRequest> request, Events events) override;
    bool answersOnMainLoop() const override;

  private:
    QMURLStubRegistry& registry_;
};

}  // namespace veyrakit
