#pragma once
#include <memory>
#include <string>

namespace veyrakit {

// Serves local media over HTTP on a free loopback port, on its own thread, so that the player and
// the SDK's playlist reading see an HTTP URL, as they would for any stream. A file (an .m3u8
// playlist, an MP4) is served from its own directory, so whatever it names beside it is there
// too; a directory is served from its master playlist: "master.m3u8", else its one .m3u8 file.
class QMDemoMediaServer {
  public:
    // Throws QMDemoError (a usage error) when `path` is neither a file nor a directory with one
    // playlist to start from.
    explicit QMDemoMediaServer(const std::string& path);
    ~QMDemoMediaServer();
    QMDemoMediaServer(const QMDemoMediaServer&) = delete;
    QMDemoMediaServer& operator=(const QMDemoMediaServer&) = delete;

    // Binds and starts serving; throws QMDemoError when no port can be bound.
    void start();
    void stop();
    // "http://127.0.0.1:<port>/<the file's name>"
    std::string url() const;

    // Whether `media` is a URL to play as it is rather than a local path.
    static bool isURL(const std::string& media);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace veyrakit
