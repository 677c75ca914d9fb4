#pragma once
#include <httplib.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "collector/QMCollectorLimits.h"

namespace veyrakit {

// One connection's bytes as httplib's request handling reads and writes them, with the bounds
// httplib does not keep: a deadline for each request (first byte to last) and for its answer, and
// the sizes of the request head (request line and header fields) and of the body, however it is
// framed. Reads are buffered, since httplib reads the head a byte at a time, and the buffer lives
// as long as the connection, so the bytes of a pipelined request are kept for it.
class QMConnectionStream : public httplib::Stream {
  public:
    enum class Failure { None, HeadTooLarge, TooManyHeaderFields, BodyTooLarge, TimedOut };

    QMConnectionStream(int socket, const QMCollectorLimits& limits);

    // Waits for the next request's first byte; false when `idle` passed, the peer closed or the
    // connection was shut down.
    bool awaitRequest(std::chrono::seconds idle);
    // Starts a request: its deadline, and its head and body counted from zero.
    void beginRequest();
    // Why the last read failed, when it was a bound.
    Failure failure() const { return failure_; }
    // The rest of the request stays unread: the connection ends after the answer.
    void closeAfterAnswer() { closeAfterAnswer_ = true; }
    bool closing() const { return closeAfterAnswer_ || failure_ != Failure::None; }
    // Ends the sending side, then reads and drops what the client still sends for a short while:
    // closing with its request unread would reset the connection and could lose the answer.
    void drain();

    bool is_readable() const override;
    bool is_writable() const override;
    ssize_t read(char* ptr, size_t size) override;
    ssize_t write(const char* ptr, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return socket_; }

  private:
    using Clock = std::chrono::steady_clock;

    // Waits until the socket is ready for `events`; false once the deadline has passed.
    bool await(short events, Clock::time_point deadline) const;
    ssize_t fill();
    // Counts the bytes about to be handed out; false when they cross a bound.
    bool account(const char* data, size_t size);

    int socket_;
    const QMCollectorLimits& limits_;
    std::vector<char> buffer_;
    size_t offset_ = 0;
    size_t end_ = 0;
    Clock::time_point readDeadline_;
    std::optional<Clock::time_point> writeDeadline_;
    bool inHead_ = true;
    size_t headBytes_ = 0;
    size_t headLines_ = 0;
    size_t lineBytes_ = 0;
    bool lineIsCR_ = false;  // the line so far is "\r"
    size_t bodyBytes_ = 0;
    Failure failure_ = Failure::None;
    bool closeAfterAnswer_ = false;
};

}  // namespace veyrakit
