#pragma once
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/QMURLTransport.h"

namespace veyrakit {

// The demo's view of the SDK's exchanges with the analytics server: a transport that passes
// every exchange on to the real one and keeps, per URL path, why the last exchange fell short
// ("connection refused", "status 500", "an answer that is not JSON", "a time-out" ...). The SDK
// logs that it gave up, not why; the demo names the cause in its one-line problem.
// Exchanges run on the main loop and on the URL session's worker: the record is locked.
class QMDemoWireWatch : public QMURLTransport {
  public:
    explicit QMDemoWireWatch(std::shared_ptr<QMURLTransport> wire);

    std::shared_ptr<QMURLExchange> start(const std::shared_ptr<QMRunLoop>& loop,
                                         std::shared_ptr<QMURLRequest> request, Events events) override;
    bool answersOnMainLoop() const override { return wire_->answersOnMainLoop(); }

    // Why the last exchange with `path` fell short; nothing when it went well or never ran.
    std::optional<std::string> lastFault(const std::string& path) const;

  private:
    struct Exchange;
    static std::optional<std::string> faultOfAnswer(const Exchange& exchange);
    static std::string faultOfError(const QMError& error);
    void record(const std::string& path, std::optional<std::string> fault);

    std::shared_ptr<QMURLTransport> wire_;
    mutable std::mutex mutex_;
    std::map<std::string, std::optional<std::string>> faults_;
};

}  // namespace veyrakit
