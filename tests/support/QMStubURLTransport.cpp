#include "support/QMStubURLTransport.h"

#include <string>
#include <utility>
#include <vector>

#include "support/QMDefaultPortGuard.h"
#include "support/QMURLStubRegistry.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

namespace {

// Feeds a stub's answer to the client one step per loop task, as the network would.
class StubReplay : public QMURLExchange, public std::enable_shared_from_this<StubReplay> {
  public:
    StubReplay(std::weak_ptr<QMRunLoop> loop, std::shared_ptr<QMURL> url, QMStubResponse response,
               QMURLTransport::Events events)
        : loop_(std::move(loop)),
          url_(std::move(url)),
          response_(std::move(response)),
          events_(std::move(events)) {
        std::erase(response_.chunks, std::string());  // the network never delivers an empty chunk
    }

    void step() {
        if (cancelled_) {
            return;
        }
        // Queue the next step first: a client exception in this one must not stall the rest.
        const std::size_t current = step_++;
        if (!isLast(current)) {
            if (auto loop = loop_.lock()) {
                loop->post([self = shared_from_this()] { self->step(); });
            }
        }
        perform(current);
    }

    void cancel() override {
        cancelled_ = true;
        events_ = {};
    }

  private:
    bool failsAtOnce() const { return response_.failure && !response_.failAfterResponse; }
    bool isLast(std::size_t step) const { return failsAtOnce() || step == response_.chunks.size() + 1; }

    void perform(std::size_t step) {
        if (failsAtOnce()) {
            events_.failure(response_.failure);
        } else if (step == 0) {
            events_.response(std::make_shared<QMHTTPURLResponse>(url_, response_.status, response_.headers));
        } else if (step <= response_.chunks.size()) {
            events_.data(response_.chunks[step - 1]);
        } else if (response_.failure) {
            events_.failure(response_.failure);
        } else {
            events_.finish();
        }
    }

    std::weak_ptr<QMRunLoop> loop_;
    std::shared_ptr<QMURL> url_;
    QMStubResponse response_;
    QMURLTransport::Events events_;
    std::size_t step_ = 0;
    bool cancelled_ = false;
};

}  // namespace

std::shared_ptr<QMURLExchange> QMStubURLTransport::start(const std::shared_ptr<QMRunLoop>& loop,
                                                         std::shared_ptr<QMURLRequest> request,
                                                         Events events) {
    if (!registry_.isEnabled()) {
        return QMDefaultPortGuard::shared()->start(loop, std::move(request), std::move(events));
    }
    auto answer = registry_.answer(*request, loop->nowMillis()).value_or(QMStubResponse::fail());
    const int64_t delayMicros = answer.delayMillis * 1000;
    auto replay = std::make_shared<StubReplay>(loop, request->URL(), std::move(answer), std::move(events));
    loop->postAfter(delayMicros, [replay] { replay->step(); });
    return replay;
}

bool QMStubURLTransport::answersOnMainLoop() const { return registry_.isEnabled(); }

}  // namespace veyrakit
