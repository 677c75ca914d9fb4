#include "collector/QMCollectorHTTPServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "collector/QMConnectionStream.h"
#include "collector/QMConnectionThreads.h"

namespace veyrakit {

namespace {

const char* const kContentSecurityPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src data:; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

// The connection whose request this thread is handling: httplib's handlers see only the request.
thread_local QMConnectionStream* tConnection = nullptr;

}  // namespace

QMCollectorHTTPServer::QMCollectorHTTPServer(QMCollectorLimits limits, const std::string& listenHost)
    : limits_(limits), gate_(listenHost, limits.maxBodyBytes), connections_(limits.maxConnections) {
    new_task_queue = [this] { return new QMConnectionThreads([this] { connections_.closeAll(); }); };
    set_payload_max_length(limits_.maxBodyBytes);
    auto gate = [this](const httplib::Request& req, httplib::Response& res) {
        auto refusal = gate_.check(req);
        if (!refusal) return false;
        refuse(res, refusal->status, refusal->message);
        res.set_header("Connection", "close");
        if (tConnection != nullptr) tConnection->closeAfterAnswer();
        return true;
    };
    set_pre_routing_handler([gate](const httplib::Request& req, httplib::Response& res) {
        return gate(req, res) ? HandlerResponse::Handled : HandlerResponse::Unhandled;
    });
    // A client that waits for "100 Continue" is refused before it sends the body.
    set_expect_100_continue_handler([gate](const httplib::Request& req, httplib::Response& res) {
        return gate(req, res) ? res.status : 100;
    });
    set_error_handler(HandlerWithResponse(
        [this](const httplib::Request&, httplib::Response& res) { return answerFailure(res); }));
    set_post_routing_handler([](const httplib::Request&, httplib::Response& res) {
        res.set_header("X-Content-Type-Options", "nosniff");
        res.set_header("Content-Security-Policy", kContentSecurityPolicy);
    });
}

void QMCollectorHTTPServer::widenBacklog() { ::listen(svr_sock_, SOMAXCONN); }

void QMCollectorHTTPServer::refuse(httplib::Response& res, int status, const std::string& message) {
    res.status = status;
    res.set_content(nlohmann::ordered_json{{"error", message}}.dump(), "application/json");
}

// httplib answers a request it could not read with 400; a bound the stream kept says why.
httplib::Server::HandlerResponse QMCollectorHTTPServer::answerFailure(httplib::Response& res) const {
    if (tConnection == nullptr) return HandlerResponse::Unhandled;
    switch (tConnection->failure()) {
        case QMConnectionStream::Failure::HeadTooLarge:
            refuse(res, 431,
                   "the request head is larger than " + std::to_string(limits_.maxHeadBytes) + " bytes");
            break;
        case QMConnectionStream::Failure::TooManyHeaderFields:
            refuse(res, 431,
                   "the request has more than " + std::to_string(limits_.maxHeaderFields) + " header fields");
            break;
        case QMConnectionStream::Failure::BodyTooLarge:
            refuse(res, 413, "the body is larger than " + std::to_string(limits_.maxBodyBytes) + " bytes");
            break;
        case QMConnectionStream::Failure::TimedOut:
            refuse(res, 408,
                   "the request did not arrive within " + std::to_string(limits_.requestTimeout.count()) +
                       " ms");
            break;
        case QMConnectionStream::Failure::None:
            return HandlerResponse::Unhandled;
    }
    res.set_header("Connection", "close");
    return HandlerResponse::Handled;
}

// httplib's own loop over a connection's requests, with the collector's stream and registry.
bool QMCollectorHTTPServer::process_and_close_socket(socket_t sock) {
    const uint64_t id = connections_.add(sock);
    QMConnectionStream stream(sock, limits_);
    tConnection = &stream;
    bool answered = false;
    for (size_t left = keep_alive_max_count_; left > 0 && svr_sock_ != INVALID_SOCKET; --left) {
        connections_.touch(id);
        if (!stream.awaitRequest(std::chrono::seconds(keep_alive_timeout_sec_))) break;
        connections_.touch(id);
        stream.beginRequest();
        bool peerClosing = false;
        answered = process_request(stream, left == 1, peerClosing, nullptr);
        if (!answered || peerClosing || stream.closing()) break;
    }
    if (stream.closing()) stream.drain();
    tConnection = nullptr;
    connections_.remove(id);
    ::shutdown(sock, SHUT_RDWR);
    ::close(sock);
    return answered;
}

}  // namespace veyrakit
