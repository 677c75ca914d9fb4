#include "demo/QMDemoPlaylistServer.h"

#include <httplib.h>

#include <chrono>
#include <thread>

#include "demo/QMDemoError.h"
#include "demo/QMDemoPlaylist.h"

namespace veyrakit {

struct QMDemoPlaylistServer::Impl {
    std::string path;
    std::string playlist;
    httplib::Server server;
    std::thread thread;
    int port = 0;
};

QMDemoPlaylistServer::QMDemoPlaylistServer(const QMScenario& scenario) : impl_(std::make_unique<Impl>()) {
    impl_->path = QMDemoPlaylist::pathOf(scenario.url().value_or("/"));
    impl_->playlist = QMDemoPlaylist::masterPlaylist(scenario);
}

QMDemoPlaylistServer::~QMDemoPlaylistServer() { stop(); }

void QMDemoPlaylistServer::start() {
    const std::string playlist = impl_->playlist;
    impl_->server.Get(impl_->path, [playlist](const httplib::Request&, httplib::Response& res) {
        res.set_content(playlist, "application/vnd.apple.mpegurl");
    });
    impl_->port = impl_->server.bind_to_any_port("127.0.0.1");
    if (impl_->port <= 0) {
        throw QMDemoError("the playlist server cannot bind a loopback port", QMDemoError::kFailure);
    }
    impl_->thread = std::thread([this] { impl_->server.listen_after_bind(); });
    // stop() only reaches a server whose accept loop runs, so wait for it to run.
    for (int waited = 0; !impl_->server.is_running(); ++waited) {
        if (waited == 5000) {
            impl_->server.stop();
            impl_->thread.join();
            throw QMDemoError("the playlist server did not start", QMDemoError::kFailure);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void QMDemoPlaylistServer::stop() {
    if (!impl_->thread.joinable()) return;
    impl_->server.stop();
    impl_->thread.join();
}

std::string QMDemoPlaylistServer::url() const {
    return "http://127.0.0.1:" + std::to_string(impl_->port) + impl_->path;
}

}  // namespace veyrakit
