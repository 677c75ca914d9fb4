#include "support/QMFaultServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <utility>

namespace veyrakit {

namespace {

sockaddr_in loopback(int port) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<uint16_t>(port));
    return addr;
}

int boundPort(int fd) {
    sockaddr_in addr{};
    socklen_t len = sizeof addr;
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    return ntohs(addr.sin_port);
}

// MSG_NOSIGNAL: a client that went away must not kill the test with SIGPIPE.
bool sendAll(int fd, const std::string& data) {
    std::size_t sent = 0;
    while (sent < data.size()) {
        const ssize_t n = send(fd, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(n);
    }
    return true;
}

std::string statusLine(int status) {
    static const std::map<int, std::string> reasons = {{200, "OK"},
                                                       {204, "No Content"},
                                                       {301, "Moved Permanently"},
                                                       {500, "Internal Server Error"},
                                                       {503, "Service Unavailable"}};
    const auto it = reasons.find(status);
    return "HTTP/1.1 " + std::to_string(status) + " " + (it != reasons.end() ? it->second : "Status") +
           "\r\n";
}

// Plain searches, no std::regex: its construction races on the locale's cache across the
// connection threads.
std::string lowercase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::string headerValue(const std::string& head, const std::string& field) {
    const std::string needle = "\r\n" + lowercase(field) + ":";
    const auto at = lowercase(head).find(needle);
    if (at == std::string::npos) {
        return "";
    }
    const auto start = head.find_first_not_of(" \t", at + needle.size());
    return start == std::string::npos ? "" : head.substr(start, head.find("\r\n", start) - start);
}

// The "type" of a compact JSON report body, or nothing.
std::string reportType(const std::string& body) {
    const std::string needle = "\"type\":\"";
    const auto at = body.find(needle);
    if (at == std::string::npos) {
        return "";
    }
    const auto end = body.find('"', at + needle.size());
    return end == std::string::npos ? "" : body.substr(at + needle.size(), end - at - needle.size());
}

}  // namespace

QMFaultServer::Reply QMFaultServer::Reply::answer(int status, std::string body, std::string extraHeaders) {
    Reply reply;
    reply.status = status;
    reply.body = std::move(body);
    reply.extraHeaders = std::move(extraHeaders);
    return reply;
}

QMFaultServer::Reply QMFaultServer::Reply::reset() {
    Reply reply;
    reply.kind = Kind::Reset;
    return reply;
}

QMFaultServer::Reply QMFaultServer::Reply::garbage() {
    Reply reply;
    reply.kind = Kind::Garbage;
    return reply;
}

QMFaultServer::Reply QMFaultServer::Reply::trickle(std::string body, int millisPerByte) {
    Reply reply;
    reply.kind = Kind::Trickle;
    reply.body = std::move(body);
    reply.millisPerByte = millisPerByte;
    return reply;
}

QMFaultServer::Reply QMFaultServer::Reply::shortBody() {
    Reply reply;
    reply.kind = Kind::ShortBody;
    return reply;
}

QMFaultServer::Reply QMFaultServer::Reply::unannounced(std::size_t length) {
    Reply reply;
    reply.kind = Kind::Unannounced;
    reply.length = length;
    return reply;
}

QMFaultServer::Reply QMFaultServer::Reply::closeIfReused() {
    Reply reply;
    reply.kind = Kind::CloseIfReused;
    reply.body = "{}";
    return reply;
}

QMFaultServer::QMFaultServer() : listenFd_(socket(AF_INET, SOCK_STREAM, 0)) {
    const int on = 1;
    setsockopt(listenFd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in addr = loopback(0);
    bind(listenFd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    listen(listenFd_, 64);
    port_ = boundPort(listenFd_);
    acceptThread_ = std::thread([this] { acceptLoop(); });
}

QMFaultServer::~QMFaultServer() { stop(); }

std::string QMFaultServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

int QMFaultServer::closedPort() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = loopback(0);
    bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    const int port = boundPort(fd);
    close(fd);
    return port;
}

void QMFaultServer::reply(const std::string& key, std::vector<Reply> replies) {
    std::lock_guard<std::mutex> lock(mutex_);
    replies_[key] = std::move(replies);
}

void QMFaultServer::refuseAfter(const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    refuseAfter_ = key;
}

std::string QMFaultServer::refuseAfterKey() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return refuseAfter_;
}

void QMFaultServer::refuseFromNow() {
    std::lock_guard<std::mutex> lock(mutex_);
    refusing_ = true;
    shutdown(listenFd_, SHUT_RDWR);  // pending and later connections are refused
    for (const int fd : openFds_) {
        shutdown(fd, SHUT_RDWR);
    }
}

int QMFaultServer::count(const std::string& key) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = received_.find(key);
    return it == received_.end() ? 0 : static_cast<int>(it->second.size());
}

std::vector<std::string> QMFaultServer::bodies(const std::string& key) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = received_.find(key);
    return it == received_.end() ? std::vector<std::string>{} : it->second;
}

std::map<std::string, int> QMFaultServer::bodyCounts(const std::string& key) const {
    std::map<std::string, int> counts;
    for (const auto& body : bodies(key)) {
        ++counts[body];
    }
    return counts;
}

void QMFaultServer::stop() {
    if (stopping_.exchange(true)) {
        return;
    }
    acceptThread_.join();
    close(listenFd_);
    std::vector<std::thread> threads;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const int fd : openFds_) {
            shutdown(fd, SHUT_RDWR);  // wakes a connection thread blocked in recv
        }
        threads = std::move(connectionThreads_);
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

void QMFaultServer::acceptLoop() {
    pollfd listening{listenFd_, POLLIN, 0};
    while (!stopping_ && !refusing_) {
        if (poll(&listening, 1, 20) <= 0) {
            continue;
        }
        const int fd = accept(listenFd_, nullptr, nullptr);
        if (fd < 0) {
            continue;
        }
        std::lock_guard<std::mutex> lock(mutex_);
        if (refusing_) {
            close(fd);
            break;
        }
        ++connections_;
        openFds_.insert(fd);
        connectionThreads_.emplace_back([this, fd] { serve(fd); });
    }
}

void QMFaultServer::serve(int fd) {
    std::string buffer;
    Request request;
    int served = 0;
    while (!stopping_ && readRequest(fd, buffer, request)) {
        record(request);
        if (!act(fd, nextReply(request), served++)) {
            break;
        }
        const std::string refuse = refuseAfterKey();
        if (!refuse.empty() && (request.key == refuse || request.typedKey == refuse)) {
            refuseFromNow();
            break;
        }
    }
    std::lock_guard<std::mutex> lock(mutex_);
    openFds_.erase(fd);
    close(fd);
}

bool QMFaultServer::readRequest(int fd, std::string& buffer, Request& request) {
    char chunk[16384];
    auto headEnd = buffer.find("\r\n\r\n");
    std::size_t total = std::string::npos;
    while (headEnd == std::string::npos || buffer.size() < total) {
        const ssize_t n = recv(fd, chunk, sizeof chunk, 0);
        if (n <= 0) {
            return false;
        }
        buffer.append(chunk, static_cast<std::size_t>(n));
        headEnd = buffer.find("\r\n\r\n");
        if (headEnd != std::string::npos) {
            const std::string length = headerValue(buffer.substr(0, headEnd), "Content-Length");
            total = headEnd + 4 + (length.empty() ? 0 : std::strtoul(length.c_str(), nullptr, 10));
        }
    }
    const std::string line = buffer.substr(0, buffer.find("\r\n"));
    const auto firstSpace = line.find(' ');
    request.key = line.substr(0, line.find(' ', firstSpace + 1));
    request.body = buffer.substr(headEnd + 4, total - headEnd - 4);
    const std::string type = reportType(request.body);
    request.typedKey = type.empty() ? std::string() : request.key + " " + type;
    buffer.erase(0, total);
    return true;
}

void QMFaultServer::record(const Request& request) {
    std::lock_guard<std::mutex> lock(mutex_);
    received_[request.key].push_back(request.body);
    if (!request.typedKey.empty()) {
        received_[request.typedKey].push_back(request.body);
    }
}

QMFaultServer::Reply QMFaultServer::nextReply(const Request& request) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& key : {request.typedKey, request.key}) {
        const auto it = replies_.find(key);
        if (!key.empty() && it != replies_.end() && !it->second.empty()) {
            const std::size_t index = replied_[key]++;
            return it->second[std::min(index, it->second.size() - 1)];
        }
    }
    return Reply::answer(200, "{}");
}

bool QMFaultServer::act(int fd, const Reply& reply, int servedBefore) {
    using Kind = Reply::Kind;
    switch (reply.kind) {
        case Kind::Reset: {
            const linger abortive{1, 0};
            setsockopt(fd, SOL_SOCKET, SO_LINGER, &abortive, sizeof abortive);
            return false;
        }
        case Kind::Garbage:
            sendAll(fd, "this is not HTTP at all\r\n\r\n");
            return false;
        case Kind::ShortBody:
            sendAll(fd, statusLine(200) + "Content-Length: 100\r\n\r\n{\"sessio");
            return false;
        case Kind::Trickle:
            if (!sendAll(fd, statusLine(200) + "Content-Length: " + std::to_string(reply.body.size()) +
                                 "\r\n\r\n")) {
                return false;
            }
            for (const char c : reply.body) {
                std::this_thread::sleep_for(std::chrono::milliseconds(reply.millisPerByte));
                if (stopping_ || !sendAll(fd, std::string(1, c))) {
                    return false;
                }
            }
            return true;
        case Kind::Unannounced: {
            if (!sendAll(fd, statusLine(200) + "Connection: close\r\n\r\n[")) {
                return false;
            }
            const std::string block(64 * 1024, ' ');
            for (std::size_t sent = 1; sent < reply.length && !stopping_; sent += block.size()) {
                if (!sendAll(fd, block)) {
                    break;
                }
            }
            return false;
        }
        case Kind::CloseIfReused:
            if (servedBefore > 0) {
                return false;
            }
            break;
        case Kind::Answer:
            break;
    }
    const bool hasBody = reply.status != 204;
    return sendAll(fd, statusLine(reply.status) + reply.extraHeaders +
                           (hasBody ? "Content-Length: " + std::to_string(reply.body.size()) + "\r\n" : "") +
                           "\r\n" + (hasBody ? reply.body : ""));
}

}  // namespace veyrakit
