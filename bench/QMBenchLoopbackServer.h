#pragma once
#include <httplib.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

namespace veyrakit {

class QMBenchTraffic;

// The analytics server, both diagnostic collectors and the media host on one loopback port, for
// the benchmarks that measure the SDK over real HTTP. Every accepted TCP connection is counted
// at the socket level: the server hands each accepted socket to its task queue once.
class QMBenchLoopbackServer {
  public:
    explicit QMBenchLoopbackServer(QMBenchTraffic& traffic);
    ~QMBenchLoopbackServer();
    QMBenchLoopbackServer(const QMBenchLoopbackServer&) = delete;
    QMBenchLoopbackServer& operator=(const QMBenchLoopbackServer&) = delete;

    std::string baseURL() const;  // "http://127.0.0.1:<port>"
    int64_t connectionsAccepted() const { return accepted_->load(); }

  private:
    std::shared_ptr<std::atomic<int64_t>> accepted_ = std::make_shared<std::atomic<int64_t>>(0);
    httplib::Server server_;
    std::thread thread_;
    int port_ = 0;
};

}  // namespace veyrakit
