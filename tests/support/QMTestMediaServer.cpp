#include "support/QMTestMediaServer.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace veyrakit {

QMTestMediaServer::QMTestMediaServer(int seconds) {
    char pattern[] = "/tmp/veyrakit-media-XXXXXX";
    const char* dir = mkdtemp(pattern);
    if (!dir) throw std::runtime_error("no temporary directory for the test media");
    dir_ = dir;
    const auto started = std::chrono::steady_clock::now();
    const std::string command =
        std::string(VEYRAKIT_MAKE_TEST_MEDIA) + " " + dir_ + " " + std::to_string(seconds);
    if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
    makingMillis_ =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started)
            .count();
    serve();
}

QMTestMediaServer::QMTestMediaServer(std::string directory)
    : dir_(std::move(directory)), ownsDirectory_(false) {
    serve();
}

void QMTestMediaServer::serve() {
    server_.set_mount_point("/", dir_);
    server_.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        int64_t millis = 0;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            requested_.push_back(request.path);
            auto it = delays_.find(request.path);
            millis = it == delays_.end() ? 0 : it->second;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(millis));
        if (throttle_ > 0 && request.path.ends_with(".ts") && sendSlowly(request.path, response)) {
            return httplib::Server::HandlerResponse::Handled;
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });
    server_.set_keep_alive_timeout(1);  // stop() waits for idle connections at most this long
    port_ = server_.bind_to_any_port("127.0.0.1");
    if (port_ <= 0) throw std::runtime_error("the media server cannot bind");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) {
        std::this_thread::yield();
    }
}

QMTestMediaServer::~QMTestMediaServer() {
    server_.stop();
    thread_.join();
    if (ownsDirectory_) {
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }
}

std::string QMTestMediaServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + "/" + path;
}

void QMTestMediaServer::delay(const std::string& path, int64_t millis) {
    std::lock_guard<std::mutex> lock(mutex_);
    delays_["/" + path] = millis;
}

void QMTestMediaServer::throttle(int64_t bytesPerSecond) { throttle_ = bytesPerSecond; }

bool QMTestMediaServer::sendSlowly(const std::string& path, httplib::Response& response) {
    std::ifstream file(dir_ + path, std::ios::binary);
    if (!file) return false;
    auto bytes =
        std::make_shared<std::string>(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    response.set_content_provider(
        bytes->size(), "video/mp2t", [this, bytes](size_t offset, size_t length, httplib::DataSink& sink) {
            const size_t chunk = std::min<size_t>(length, 4096);
            // Lifted while a segment is on its way: the rest goes at once.
            if (const int64_t rate = throttle_.load(); rate > 0) {
                std::this_thread::sleep_for(
                    std::chrono::microseconds(static_cast<int64_t>(chunk) * 1'000'000 / rate));
            }
            return sink.write(bytes->data() + offset, chunk);
        });
    return true;
}

void QMTestMediaServer::remove(const std::string& path) const { std::filesystem::remove(dir_ + "/" + path); }

std::vector<std::string> QMTestMediaServer::requestedPaths() {
    std::lock_guard<std::mutex> lock(mutex_);
    return requested_;
}

}  // namespace veyrakit
