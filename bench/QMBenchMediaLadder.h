#pragma once
#include <httplib.h>

#include <string>
#include <thread>

namespace veyrakit {

// The long, large ladder of scripts/make-bench-media (1080p, 720p and 360p with real motion),
// made once per length and kept in /tmp for later runs, served over loopback HTTP on a free port
// until destruction.
class QMBenchMediaLadder {
  public:
    // Throws std::runtime_error when the media cannot be made or served.
    explicit QMBenchMediaLadder(int seconds);
    ~QMBenchMediaLadder();
    QMBenchMediaLadder(const QMBenchMediaLadder&) = delete;
    QMBenchMediaLadder& operator=(const QMBenchMediaLadder&) = delete;

    std::string url(const std::string& path) const;  // "http://127.0.0.1:<port>/<path>"

  private:
    httplib::Server server_;
    std::thread thread_;
    int port_ = 0;
};

}  // namespace veyrakit
