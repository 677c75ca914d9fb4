#include "demo/QMDemoRemoteCollector.h"

#include <httplib.h>
#include <pthread.h>

#include <chrono>
#include <utility>

#include "demo/QMDemoError.h"

namespace veyrakit {

namespace {

// Once a second: a person reading the run's lines notices no delay, and each pass costs the
// demo a request and a parse (at five a second, more than the SDK spends on the whole session).
constexpr auto kFollowInterval = std::chrono::seconds(1);
constexpr int kLastPassAttempts = 5;

}  // namespace

QMDemoRemoteCollector::QMDemoRemoteCollector(std::string baseURL, int diagnosticEventsPort,
                                             int sessionEventsPort)
    : baseURL_(std::move(baseURL)),
      diagnosticEventsPort_(diagnosticEventsPort),
      sessionEventsPort_(sessionEventsPort) {
    const size_t hostStart = baseURL_.find("://") + 3;
    const size_t pathStart = baseURL_.find('/', hostStart);
    origin_ = baseURL_.substr(0, pathStart);
    prefix_ = pathStart == std::string::npos ? "" : baseURL_.substr(pathStart);
    const std::string authority = origin_.substr(hostStart);
    // A bracketed IPv6 address keeps its colons; a port follows the last one outside brackets.
    const size_t portColon = authority.rfind(':');
    const bool hasPort =
        portColon != std::string::npos && authority.find(']', portColon) == std::string::npos;
    host_ = hasPort ? authority.substr(0, portColon) : authority;
}

std::string QMDemoRemoteCollector::sessionEventsURL() const {
    return "http://" + host_ + ":" + std::to_string(sessionEventsPort_) + "/sessionEventsHandler/sessions";
}

std::string QMDemoRemoteCollector::diagnosticEventsURL() const {
    return "http://" + host_ + ":" + std::to_string(diagnosticEventsPort_) + "/veyrakit/";
}

QMDemoRemoteCollector::~QMDemoRemoteCollector() { stop(); }

std::optional<nlohmann::ordered_json> QMDemoRemoteCollector::get(const std::string& path) const {
    httplib::Client client(origin_);
    client.set_connection_timeout(std::chrono::seconds(5));
    client.set_read_timeout(std::chrono::seconds(30));
    auto answer = client.Get(prefix_ + path);
    if (!answer || answer->status != 200) return std::nullopt;
    auto body = nlohmann::ordered_json::parse(answer->body, nullptr, false);
    if (body.is_discarded() || !body.is_object()) return std::nullopt;
    return body;
}

void QMDemoRemoteCollector::start(Observer observer) {
    auto sessions = get("/api/sessions");
    if (!sessions || !sessions->contains("sessions")) {
        throw QMDemoError(
            "no veyrakit-collector answers at " + baseURL_ + " (GET " + prefix_ + "/api/sessions failed)",
            QMDemoError::kFailure);
    }
    observer_ = std::move(observer);
    follower_ = std::thread([this] {
        pthread_setname_np(pthread_self(), "demo-follower");
        follow();
    });
}

std::string QMDemoRemoteCollector::description() const { return "collector at " + baseURL_; }

void QMDemoRemoteCollector::followSession(const std::string& sessionId) {
    std::lock_guard<std::mutex> lock(mutex_);
    sessionId_ = sessionId;
}

void QMDemoRemoteCollector::follow() {
    std::unique_lock<std::mutex> lock(mutex_);
    // A stop that comes while a pass is fetching still gets a pass of its own after it: that pass
    // may have read the store before the run's final requests were in it.
    for (bool last = false; !last;) {
        wake_.wait_for(lock, kFollowInterval, [this] { return stopping_; });
        last = stopping_;
        lock.unlock();
        // The last pass must not lose the run's final requests to one failed fetch.
        for (int attempt = 0; !deliverNewRequests() && last && attempt < kLastPassAttempts; ++attempt) {
            std::this_thread::sleep_for(kFollowInterval);
        }
        lock.lock();
    }
}

bool QMDemoRemoteCollector::deliverNewRequests() {
    std::optional<std::string> sessionId;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        sessionId = sessionId_;
    }
    if (!sessionId) return true;
    // Only what is new since the last pass: the whole session again would cost more each time.
    auto answer = get("/api/requests?session=" + *sessionId + "&after=" + std::to_string(lastDelivered_));
    if (!answer) return false;
    for (const auto& request : (*answer)["requests"]) {
        const int64_t id = request.value("id", int64_t{0});
        if (id <= lastDelivered_) continue;
        lastDelivered_ = id;
        observer_(request);
    }
    return true;
}

void QMDemoRemoteCollector::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_ || !follower_.joinable()) return;
        stopping_ = true;
    }
    wake_.notify_all();
    follower_.join();  // its last pass ran after everything the run sent had been answered
}

std::optional<nlohmann::ordered_json> QMDemoRemoteCollector::analysis(const std::string& sessionId) {
    auto session = get("/api/sessions/" + sessionId + "?final=1");
    if (!session) return std::nullopt;
    session->erase("requests");
    return session;
}

}  // namespace veyrakit
