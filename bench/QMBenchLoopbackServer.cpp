#include "QMBenchLoopbackServer.h"

#include <stdexcept>
#include <utility>

#include "QMBenchTraffic.h"

namespace veyrakit {

namespace {

// httplib enqueues one task per accepted connection: counting them counts the accepts.
class CountingTaskQueue : public httplib::TaskQueue {
  public:
    explicit CountingTaskQueue(std::shared_ptr<std::atomic<int64_t>> accepted)
        : accepted_(std::move(accepted)), pool_(8) {}
    void enqueue(std::function<void()> fn) override {
        ++*accepted_;
        pool_.enqueue(std::move(fn));
    }
    void shutdown() override { pool_.shutdown(); }

  private:
    std::shared_ptr<std::atomic<int64_t>> accepted_;
    httplib::ThreadPool pool_;
};

}  // namespace

QMBenchLoopbackServer::QMBenchLoopbackServer(QMBenchTraffic& traffic) {
    server_.new_task_queue = [accepted = accepted_] { return new CountingTaskQueue(accepted); };
    const auto handler = [&traffic](const httplib::Request& request, httplib::Response& response) {
        QMURLRequest::Headers headers;
        for (const auto& [field, value] : request.headers) {
            // httplib adds the peer's address for its own use; it did not come over the wire.
            if (field != "REMOTE_ADDR" && field != "REMOTE_PORT" && field != "LOCAL_ADDR" &&
                field != "LOCAL_PORT") {
                headers.emplace_back(field, value);
            }
        }
        auto [status, body] = traffic.answer(request.method, request.target, headers, request.body);
        response.status = status;
        response.set_content(body, "application/json");
    };
    // Kept alive as a production collector would, so that the connection count is the client's.
    server_.set_keep_alive_max_count(1'000'000);
    server_.set_keep_alive_timeout(2);  // stopping waits for idle connections this long
    // As production web servers do: the answer's header and body go out as they are written,
    // not held back by Nagle's algorithm until the client's delayed acknowledgement (40 ms).
    server_.set_tcp_nodelay(true);
    server_.Post(".*", handler);
    server_.Get(".*", handler);
    port_ = server_.bind_to_any_port("127.0.0.1");
    if (port_ <= 0) {
        throw std::runtime_error("the loopback server could not bind");
    }
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) {
        std::this_thread::yield();
    }
}

QMBenchLoopbackServer::~QMBenchLoopbackServer() {
    server_.stop();
    thread_.join();
}

std::string QMBenchLoopbackServer::baseURL() const { return "http://127.0.0.1:" + std::to_string(port_); }

}  // namespace veyrakit
