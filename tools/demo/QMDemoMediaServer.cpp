#include "demo/QMDemoMediaServer.h"

#include <httplib.h>

#include <cctype>
#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "demo/QMDemoError.h"

namespace veyrakit {

namespace fs = std::filesystem;

namespace {

// The playlist a directory is played from.
fs::path entryOfDirectory(const fs::path& directory) {
    if (fs::is_regular_file(directory / "master.m3u8")) return directory / "master.m3u8";
    std::vector<fs::path> playlists;
    for (const auto& entry : fs::directory_iterator(directory)) {
        if (entry.is_regular_file() && entry.path().extension() == ".m3u8") playlists.push_back(entry.path());
    }
    if (playlists.size() != 1) {
        throw QMDemoError("--media: " + directory.string() + " holds no master.m3u8 and " +
                              (playlists.empty() ? "no" : "more than one") + " other playlist",
                          QMDemoError::kUsage);
    }
    return playlists.front();
}

// A file name as a URL path segment: anything but the unreserved characters percent-encoded.
std::string encoded(const std::string& name) {
    static const char* const hex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : name) {
        if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

}  // namespace

struct QMDemoMediaServer::Impl {
    fs::path directory;
    std::string entry;
    httplib::Server server;
    std::thread thread;
    int port = 0;
};

QMDemoMediaServer::QMDemoMediaServer(const std::string& path) : impl_(std::make_unique<Impl>()) {
    std::error_code error;
    const fs::path media = fs::absolute(path, error);
    fs::path entry;
    if (fs::is_directory(media, error)) {
        entry = entryOfDirectory(media);
    } else if (fs::is_regular_file(media, error)) {
        entry = media;
    } else {
        throw QMDemoError("--media: " + path + " is neither a file nor a directory", QMDemoError::kUsage);
    }
    impl_->directory = entry.parent_path();
    impl_->entry = entry.filename().string();
}

QMDemoMediaServer::~QMDemoMediaServer() { stop(); }

bool QMDemoMediaServer::isURL(const std::string& media) {
    return media.starts_with("http://") || media.starts_with("https://");
}

void QMDemoMediaServer::start() {
    impl_->server.set_file_extension_and_mimetype_mapping("m3u8", "application/vnd.apple.mpegurl");
    impl_->server.set_file_extension_and_mimetype_mapping("ts", "video/mp2t");
    impl_->server.set_mount_point("/", impl_->directory.string());
    // stop() waits for idle kept-alive connections at most this long.
    impl_->server.set_keep_alive_timeout(1);
    impl_->port = impl_->server.bind_to_any_port("127.0.0.1");
    if (impl_->port <= 0) {
        throw QMDemoError("the media server cannot bind a loopback port", QMDemoError::kFailure);
    }
    impl_->thread = std::thread([this] { impl_->server.listen_after_bind(); });
    // stop() only reaches a server whose accept loop runs, so wait for it to run.
    for (int waited = 0; !impl_->server.is_running(); ++waited) {
        if (waited == 5000) {
            impl_->server.stop();
            impl_->thread.join();
            throw QMDemoError("the media server did not start", QMDemoError::kFailure);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void QMDemoMediaServer::stop() {
    if (!impl_->thread.joinable()) return;
    impl_->server.stop();
    impl_->thread.join();
}

std::string QMDemoMediaServer::url() const {
    return "http://127.0.0.1:" + std::to_string(impl_->port) + "/" + encoded(impl_->entry);
}

}  // namespace veyrakit
