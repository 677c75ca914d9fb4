#pragma once
#include "collector/QMCollectorServer.h"
#include "demo/QMDemoCollector.h"

namespace veyrakit {

// The reference collector in this process, on free loopback ports and an in-memory store; it
// serves on its own threads, so its answers reach the SDK whatever the SDK's clock does.
class QMDemoEmbeddedCollector : public QMDemoCollector {
  public:
    explicit QMDemoEmbeddedCollector(QMCollectorPolicy policy);

    void start(Observer observer) override;
    std::string baseURL() const override;
    std::string sessionEventsURL() const override { return server_.sessionEventsURL(); }
    std::string diagnosticEventsURL() const override { return server_.diagnosticEventsURL(); }
    std::string description() const override;
    std::string dashboardURL() const override { return server_.dashboardURL(); }
    void stop() override;
    std::optional<nlohmann::ordered_json> analysis(const std::string& sessionId) override;

  private:
    static QMCollectorServer::Options options(QMCollectorPolicy policy);
    QMCollectorServer server_;
};

}  // namespace veyrakit
