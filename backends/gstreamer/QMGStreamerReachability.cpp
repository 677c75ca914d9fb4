#include "QMGStreamerReachability.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

namespace veyrakit {

namespace {

struct Endpoint {
    std::string host;
    std::string port;
};

// scheme://[user@]host[:port]/... ; an IPv6 host in brackets.
bool endpointOf(const std::string& uri, Endpoint& endpoint) {
    const std::size_t schemeEnd = uri.find("://");
    if (schemeEnd == std::string::npos) return false;
    const std::string scheme = uri.substr(0, schemeEnd);
    std::size_t start = schemeEnd + 3;
    const std::size_t end = std::min(uri.find_first_of("/?#", start), uri.size());
    std::string authority = uri.substr(start, end - start);
    if (const std::size_t at = authority.rfind('@'); at != std::string::npos)
        authority = authority.substr(at + 1);
    std::size_t colon = std::string::npos;
    if (authority.starts_with("[")) {
        const std::size_t close = authority.find(']');
        if (close == std::string::npos) return false;
        endpoint.host = authority.substr(1, close - 1);
        colon = authority.find(':', close);
    } else {
        colon = authority.rfind(':');
        endpoint.host = authority.substr(0, colon);
    }
    endpoint.port =
        colon != std::string::npos ? authority.substr(colon + 1) : (scheme == "https" ? "443" : "80");
    return !endpoint.host.empty();
}

// One lookup, alive until both the caller and the resolving thread are done with it (the
// resolver's own retries can take far longer than the caller waits).
struct Lookup {
    explicit Lookup(const Endpoint& endpoint) : host(endpoint.host), port(endpoint.port) {}
    ~Lookup() {
        if (result) freeaddrinfo(result);
    }
    Lookup(const Lookup&) = delete;
    Lookup& operator=(const Lookup&) = delete;

    const std::string host;
    const std::string port;
    // Written by the resolving thread before it fulfils `resolved`; read after.
    addrinfo* result = nullptr;
    std::promise<bool> resolved;
};

enum class Resolution { Resolved, NotFound, TimedOut };

Resolution resolve(const std::shared_ptr<Lookup>& lookup, int budgetMillis) {
    auto found = lookup->resolved.get_future();
    // A plain thread of the process (one the tools see), let go: it ends with the resolver.
    std::thread([lookup] {
        addrinfo hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        const int status = getaddrinfo(lookup->host.c_str(), lookup->port.c_str(), &hints, &lookup->result);
        lookup->resolved.set_value(status == 0 && lookup->result);
    }).detach();
    if (found.wait_for(std::chrono::milliseconds(budgetMillis)) != std::future_status::ready) {
        return Resolution::TimedOut;
    }
    return found.get() ? Resolution::Resolved : Resolution::NotFound;
}

}  // namespace

QMGStreamerCause QMGStreamerReachability::check(const std::string& uri, int budgetMillis) {
    Endpoint endpoint;
    if (!endpointOf(uri, endpoint)) return QMGStreamerCause::Unknown;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(budgetMillis);
    auto lookup = std::make_shared<Lookup>(endpoint);
    switch (resolve(lookup, budgetMillis)) {
        case Resolution::NotFound:
            return QMGStreamerCause::HostNotFound;
        case Resolution::TimedOut:
            return QMGStreamerCause::TimedOut;
        case Resolution::Resolved:
            break;
    }
    const addrinfo* addresses = lookup->result;
    QMGStreamerCause cause = QMGStreamerCause::CannotConnect;
    const int fd = socket(addresses->ai_family, addresses->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd >= 0) {
        if (connect(fd, addresses->ai_addr, addresses->ai_addrlen) == 0) {
            cause = QMGStreamerCause::Unknown;
        } else if (errno == EINPROGRESS) {
            pollfd descriptor{fd, POLLOUT, 0};
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (poll(&descriptor, 1, static_cast<int>(std::max<int64_t>(left.count(), 0))) == 1) {
                int failure = 0;
                socklen_t size = sizeof failure;
                getsockopt(fd, SOL_SOCKET, SO_ERROR, &failure, &size);
                cause = failure == 0 ? QMGStreamerCause::Unknown : QMGStreamerCause::CannotConnect;
            } else {
                cause = QMGStreamerCause::TimedOut;
            }
        }
        close(fd);
    }
    return cause;
}

}  // namespace veyrakit
