#pragma once
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace veyrakit {

// Where the SDK reports during a demo run, and where the demo reads back what arrived: the
// embedded reference collector, or a veyrakit-collector running elsewhere.
class QMDemoCollector {
  public:
    // One received request in the collector's API shape ({"id", "receivedAt", "endpoint", "body",
    // "answer", ...}); called on a collector thread, one call at a time.
    using Observer = std::function<void(const nlohmann::ordered_json& request)>;

    virtual ~QMDemoCollector() = default;

    // Throws QMDemoError when the collector cannot serve.
    virtual void start(Observer observer) = 0;
    // The SDK's server host.
    virtual std::string baseURL() const = 0;
    // Where the SDK's two diagnostic streams go: the AVPlayer reporter's session events and the
    // movie player handler's diagnostic events.
    virtual std::string sessionEventsURL() const = 0;
    virtual std::string diagnosticEventsURL() const = 0;
    // "embedded collector on http://127.0.0.1:41234 (diagnostics ...)", for the first line.
    virtual std::string description() const = 0;
    // The collector's web dashboard (its sessions page), "http://127.0.0.1:41234/".
    virtual std::string dashboardURL() const = 0;
    // The SDK's session id is known (a collector that has to look for the run's requests uses it).
    virtual void followSession(const std::string& sessionId) {}
    // Every request received so far has been given to the observer when this returns; no more
    // are given after it.
    virtual void stop() = 0;
    // The session's summary and checks, judged as over; nullopt when the collector has no request
    // naming the session.
    virtual std::optional<nlohmann::ordered_json> analysis(const std::string& sessionId) = 0;
};

}  // namespace veyrakit
