#include "QMBenchMediaLadder.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace veyrakit {

QMBenchMediaLadder::QMBenchMediaLadder(int seconds) {
    const std::string dir = "/tmp/veyrakit-bench-ladder-" + std::to_string(seconds);
    // The master playlist is written last: its presence says the rest is complete.
    if (!std::filesystem::exists(dir + "/master.m3u8")) {
        const std::string command =
            std::string(VEYRAKIT_MAKE_BENCH_MEDIA) + " " + dir + " " + std::to_string(seconds);
        if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
    }
    server_.set_mount_point("/", dir);
    server_.set_keep_alive_timeout(1);  // stop() waits for idle connections at most this long
    port_ = server_.bind_to_any_port("127.0.0.1");
    if (port_ <= 0) throw std::runtime_error("the media server cannot bind");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) {
        std::this_thread::yield();
    }
}

QMBenchMediaLadder::~QMBenchMediaLadder() {
    server_.stop();
    thread_.join();
}

std::string QMBenchMediaLadder::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + "/" + path;
}

}  // namespace veyrakit
