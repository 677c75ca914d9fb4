#pragma once
#include <httplib.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace veyrakit {

// Real media for player backends: scripts/make-test-media writes a three-variant HLS ladder and
// an MP4 into a temporary directory (or media made elsewhere is given), served over loopback HTTP
// on a free port until destruction.
class QMTestMediaServer {
  public:
    // `seconds` of media (a multiple of the 2 s segments). Throws std::runtime_error when the
    // media cannot be made or served.
    explicit QMTestMediaServer(int seconds = 6);
    // Serves media already made in `directory`, and leaves it there.
    explicit QMTestMediaServer(std::string directory);
    ~QMTestMediaServer();
    QMTestMediaServer(const QMTestMediaServer&) = delete;
    QMTestMediaServer& operator=(const QMTestMediaServer&) = delete;

    // "http://127.0.0.1:<port>/<path>"
    std::string url(const std::string& path) const;
    // Takes a file away, so that asking for it answers 404.
    void remove(const std::string& path) const;
    // Answers requests for `path` only after `millis` (a slow segment: the player runs dry).
    void delay(const std::string& path, int64_t millis);
    // Sends media segments at `bytesPerSecond` from now on (0: as fast as the link goes), a slow
    // link that makes an adaptive player switch down, and up again when lifted.
    void throttle(int64_t bytesPerSecond);
    // Where the media lies.
    const std::string& directory() const { return dir_; }
    // The paths asked for so far ("/v0/seg0.ts"), in order.
    std::vector<std::string> requestedPaths();
    // How long the script took to make the media.
    int64_t makingMillis() const { return makingMillis_; }

  private:
    void serve();
    bool sendSlowly(const std::string& path, httplib::Response& response);

    std::string dir_;
    bool ownsDirectory_ = true;
    int64_t makingMillis_ = 0;
    httplib::Server server_;
    std::thread thread_;
    int port_ = 0;
    std::mutex mutex_;
    std::map<std::string, int64_t> delays_;  // by request path, read on the server's threads
    std::atomic<int64_t> throttle_{0};
    std::vector<std::string> requested_;  // written on the server's threads
};

}  // namespace veyrakit
