#pragma once
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "demo/QMDemoCollector.h"

namespace veyrakit {

// A veyrakit-collector running elsewhere, read through its JSON API: once the session id is
// known, its new requests are fetched once a second and given to the observer; the analysis
// comes from /api/sessions/<id>?final=1.
class QMDemoRemoteCollector : public QMDemoCollector {
  public:
    // The diagnostic streams go to the base URL's host on these ports.
    QMDemoRemoteCollector(std::string baseURL, int diagnosticEventsPort, int sessionEventsPort);
    ~QMDemoRemoteCollector() override;

    void start(Observer observer) override;
    std::string baseURL() const override { return baseURL_; }
    std::string sessionEventsURL() const override;
    std::string diagnosticEventsURL() const override;
    std::string description() const override;
    std::string dashboardURL() const override { return baseURL_ + "/"; }
    void followSession(const std::string& sessionId) override;
    void stop() override;
    std::optional<nlohmann::ordered_json> analysis(const std::string& sessionId) override;

  private:
    // GET on the collector: the parsed JSON body of a 200 answer, nullopt otherwise.
    std::optional<nlohmann::ordered_json> get(const std::string& path) const;
    void follow();
    // False when the collector could not be asked.
    bool deliverNewRequests();

    std::string baseURL_;
    std::string origin_;  // scheme, host and port
    std::string prefix_;  // the base URL's path
    std::string host_;    // the base URL's host
    int diagnosticEventsPort_;
    int sessionEventsPort_;
    Observer observer_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::optional<std::string> sessionId_;
    int64_t lastDelivered_ = 0;
    std::thread follower_;
};

}  // namespace veyrakit
