#include "fuzz/QMFuzzTransport.h"

#include <string>

#include "platform/QMConsole.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

class QMFuzzExchange : public QMURLExchange {
  public:
    explicit QMFuzzExchange(std::shared_ptr<QMURLTransport::Events>& pending) : pending_(pending) {}
    void cancel() override { pending_.reset(); }

  private:
    std::shared_ptr<QMURLTransport::Events>& pending_;
};

long statusOf(const uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 200;
    }
    const int code = data[0] | (data[1] << 8);
    return code % 2 == 0 ? 200 : 100 + code % 500;
}

}  // namespace

QMFuzzTransport& QMFuzzTransport::installed() {
    static const std::shared_ptr<QMFuzzTransport> transport = [] {
        QMConsole::setSink([](const std::string&) {});
        auto made = std::make_shared<QMFuzzTransport>();
        QMRunLoop::mainRunLoop()->setURLTransport(made);
        return made;
    }();
    return *transport;
}

std::shared_ptr<QMURLExchange> QMFuzzTransport::start(const std::shared_ptr<QMRunLoop>&,
                                                      std::shared_ptr<QMURLRequest>, Events events) {
    pending_ = std::make_shared<Events>(std::move(events));
    return std::make_shared<QMFuzzExchange>(pending_);
}

bool QMFuzzTransport::answer(const uint8_t* data, std::size_t size) {
    const auto events = std::move(pending_);
    if (!events) {
        return false;
    }
    const std::size_t header = size < 3 ? size : 3;
    const std::string body(reinterpret_cast<const char*>(data) + header, size - header);
    const std::size_t split = header == 3 ? data[2] % (body.size() + 1) : 0;
    events->response(std::make_shared<QMHTTPURLResponse>(QMURL::URLWithString("http://collector.invalid/"),
                                                         statusOf(data, size), QMURLRequest::Headers{}));
    events->data(body.substr(0, split));
    events->data(body.substr(split));
    events->finish();
    return true;
}

}  // namespace veyrakit
