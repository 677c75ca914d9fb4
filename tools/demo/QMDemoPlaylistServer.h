#pragma once
#include <memory>
#include <string>

#include "simulator/QMScenario.h"

namespace veyrakit {

// Serves a scenario's master playlist (QMDemoPlaylist) on a free loopback port, on its own
// thread, at the path of the scenario's media URL, so that the URL keeps its ending (and the
// stream its type) when the scenario is pointed at it.
class QMDemoPlaylistServer {
  public:
    explicit QMDemoPlaylistServer(const QMScenario& scenario);
    ~QMDemoPlaylistServer();
    QMDemoPlaylistServer(const QMDemoPlaylistServer&) = delete;
    QMDemoPlaylistServer& operator=(const QMDemoPlaylistServer&) = delete;

    // Binds and starts serving; throws QMDemoError when no port can be bound.
    void start();
    void stop();
    // "http://127.0.0.1:<port>/<the media URL's path>".
    std::string url() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace veyrakit
