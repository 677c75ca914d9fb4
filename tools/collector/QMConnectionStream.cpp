#include "collector/QMConnectionStream.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace veyrakit {

namespace {

constexpr size_t kReadChunk = size_t{16} * 1024;
// How long a refused client may go on sending before the connection is closed on it.
constexpr std::chrono::seconds kDrainTime{2};

void addressOf(int socket, bool local, std::string& ip, int& port) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    auto* raw = reinterpret_cast<sockaddr*>(&address);
    if ((local ? getsockname(socket, raw, &length) : getpeername(socket, raw, &length)) != 0) return;
    char host[NI_MAXHOST];
    char service[NI_MAXSERV];
    if (getnameinfo(raw, length, host, sizeof host, service, sizeof service,
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0)
        return;
    ip = host;
    port = std::atoi(service);
}

}  // namespace

QMConnectionStream::QMConnectionStream(int socket, const QMCollectorLimits& limits)
    : socket_(socket), limits_(limits), buffer_(kReadChunk) {}

bool QMConnectionStream::await(short events, Clock::time_point deadline) const {
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) return false;
        pollfd entry{socket_, events, 0};
        int ready = ::poll(&entry, 1, static_cast<int>(std::min<int64_t>(left, 60'000)));
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return false;
    }
}

bool QMConnectionStream::awaitRequest(std::chrono::seconds idle) {
    if (offset_ < end_) return true;
    return await(POLLIN, Clock::now() + idle);
}

void QMConnectionStream::beginRequest() {
    readDeadline_ = Clock::now() + limits_.requestTimeout;
    writeDeadline_.reset();
    inHead_ = true;
    headBytes_ = headLines_ = lineBytes_ = bodyBytes_ = 0;
    lineIsCR_ = false;
}

ssize_t QMConnectionStream::fill() {
    if (!await(POLLIN, readDeadline_)) {
        failure_ = Failure::TimedOut;
        return -1;
    }
    ssize_t received;
    do {
        received = ::recv(socket_, buffer_.data(), buffer_.size(), 0);
    } while (received < 0 && errno == EINTR);
    if (received <= 0) return received;
    offset_ = 0;
    end_ = static_cast<size_t>(received);
    return received;
}

bool QMConnectionStream::account(const char* data, size_t size) {
    size_t i = 0;
    for (; inHead_ && i < size; ++i) {
        if (++headBytes_ > limits_.maxHeadBytes) {
            failure_ = Failure::HeadTooLarge;
            return false;
        }
        if (data[i] != '\n') {
            lineIsCR_ = lineBytes_++ == 0 && data[i] == '\r';
            continue;
        }
        // httplib ends the head at a line of "\r\n" alone; the request line is not a field.
        if (lineIsCR_) {
            inHead_ = false;
        } else if (++headLines_ > limits_.maxHeaderFields + 1) {
            failure_ = Failure::TooManyHeaderFields;
            return false;
        }
        lineBytes_ = 0;
        lineIsCR_ = false;
    }
    bodyBytes_ += size - i;
    if (bodyBytes_ > limits_.maxBodyBytes) {
        failure_ = Failure::BodyTooLarge;
        return false;
    }
    return true;
}

bool QMConnectionStream::is_readable() const {
    if (offset_ < end_) return true;
    pollfd entry{socket_, POLLIN, 0};
    return ::poll(&entry, 1, 0) > 0;
}

bool QMConnectionStream::is_writable() const { return failure_ == Failure::None; }

ssize_t QMConnectionStream::read(char* ptr, size_t size) {
    if (failure_ != Failure::None) return -1;
    // A "100 Continue" was written before the body: the answer's time starts after it.
    writeDeadline_.reset();
    if (offset_ == end_) {
        ssize_t received = fill();
        if (received <= 0) return received;
    }
    size_t count = std::min(size, end_ - offset_);
    if (!account(buffer_.data() + offset_, count)) return -1;
    std::memcpy(ptr, buffer_.data() + offset_, count);
    offset_ += count;
    return static_cast<ssize_t>(count);
}

ssize_t QMConnectionStream::write(const char* ptr, size_t size) {
    if (!writeDeadline_) writeDeadline_ = Clock::now() + limits_.requestTimeout;
    if (!await(POLLOUT, *writeDeadline_)) {
        failure_ = Failure::TimedOut;
        return -1;
    }
    ssize_t sent;
    do {
        sent = ::send(socket_, ptr, size, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent;
}

void QMConnectionStream::drain() {
    ::shutdown(socket_, SHUT_WR);
    auto deadline = Clock::now() + kDrainTime;
    while (await(POLLIN, deadline)) {
        if (::recv(socket_, buffer_.data(), buffer_.size(), 0) <= 0) return;
    }
}

void QMConnectionStream::get_remote_ip_and_port(std::string& ip, int& port) const {
    addressOf(socket_, false, ip, port);
}

void QMConnectionStream::get_local_ip_and_port(std::string& ip, int& port) const {
    addressOf(socket_, true, ip, port);
}

}  // namespace veyrakit
