#pragma once
#include <atomic>
#include <cstddef>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace veyrakit {

// A loopback HTTP/1.1 server for fault tests, on raw sockets so that it can misbehave the way a
// real server or network does: reset, answer garbage, trickle, announce more than it sends.
// Connections are kept alive and served each on its own thread.
//
// Requests are keyed "METHOD /path", and "METHOD /path T" as well when the body is JSON with a
// "type" (the reports: "POST /player/report P"). A request counts once it has arrived in full,
// before the reply: the counts are what the server saw.
class QMFaultServer {
  public:
    // What the server does with one request.
    struct Reply {
        enum class Kind { Answer, Reset, Garbage, Trickle, ShortBody, Unannounced, CloseIfReused };
        Kind kind = Kind::Answer;
        int status = 200;
        std::string body;
        std::size_t length = 0;  // Unannounced: bytes sent before closing
        int millisPerByte = 0;   // Trickle

        // A complete answer with Content-Length.
        static Reply answer(int status, std::string body, std::string extraHeaders = "");
        // Reads the request, then closes with a reset: nothing answered.
        static Reply reset();
        // Bytes that are not HTTP, then close.
        static Reply garbage();
        // Status and headers at once, then the body one byte every `millisPerByte`.
        static Reply trickle(std::string body, int millisPerByte);
        // Announces 100 bytes, sends 10, closes.
        static Reply shortBody();
        // `length` bytes of a JSON-looking body without Content-Length, ended by closing.
        static Reply unannounced(std::size_t length);
        // Answers {} on a fresh connection; on a kept-alive one that served a request before,
        // closes without answering (the race of a server dropping an idle connection).
        static Reply closeIfReused();

        std::string extraHeaders;
    };

    QMFaultServer();
    ~QMFaultServer();
    QMFaultServer(const QMFaultServer&) = delete;
    QMFaultServer& operator=(const QMFaultServer&) = delete;

    int port() const { return port_; }
    std::string url(const std::string& path) const;
    // A loopback port with nothing listening (bound, then closed).
    static int closedPort();

    // Replies for the requests of `key` over successive requests; the last repeats. Keys without
    // replies answer 200 "{}".
    void reply(const std::string& key, std::vector<Reply> replies);

    // Once the request of `key` has been answered, the server stops listening and drops its
    // connections: every later connection is refused.
    void refuseAfter(const std::string& key);

    // Requests received in full under `key`; bodies in arrival order.
    int count(const std::string& key) const;
    std::vector<std::string> bodies(const std::string& key) const;
    // How often each distinct body arrived under `key`.
    std::map<std::string, int> bodyCounts(const std::string& key) const;
    int connections() const { return connections_.load(); }

    // Closes every connection and joins the threads (the destructor does it too).
    void stop();

  private:
    struct Request {
        std::string key;
        std::string typedKey;
        std::string body;
    };

    void acceptLoop();
    void serve(int fd);
    bool readRequest(int fd, std::string& buffer, Request& request);
    Reply nextReply(const Request& request);
    // False when the connection is to be closed after the reply.
    bool act(int fd, const Reply& reply, int servedBefore);
    void record(const Request& request);
    void refuseFromNow();
    std::string refuseAfterKey() const;

    int listenFd_ = -1;
    int port_ = 0;
    std::atomic<bool> stopping_{false};
    std::atomic<bool> refusing_{false};
    std::string refuseAfter_;
    std::atomic<int> connections_{0};
    std::thread acceptThread_;
    mutable std::mutex mutex_;
    std::vector<std::thread> connectionThreads_;
    std::set<int> openFds_;
    std::map<std::string, std::vector<Reply>> replies_;
    std::map<std::string, std::size_t> replied_;
    std::map<std::string, std::vector<std::string>> received_;
};

}  // namespace veyrakit
