// Hostile clients on loopback: each case was found by a security review and used to crash the
// collector, stall it or grow its memory without bound. Raw sockets, so that every byte sent and
// every answer header is exact.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include "collector/QMCollectorServer.h"
#include "collector/QMCollectorStore.h"

namespace veyrakit {

using Json = nlohmann::ordered_json;

namespace {

struct Answer {
    int status = 0;  // 0: the connection ended without an answer
    std::string head;
    std::string body;

    std::string header(const std::string& name) const {
        size_t at = head.find("\r\n" + name + ": ");
        if (at == std::string::npos) return "";
        at += name.size() + 4;
        return head.substr(at, head.find("\r\n", at) - at);
    }
};

// A connection to 127.0.0.1 that gives up reading after 20 s: a bound for the test, not a
// figure of the collector's speed.
int connectTo(int port) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    timeval timeout{20, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    return fd;
}

// Sends what the peer takes; a collector that stopped reading ends it.
void sendAll(int fd, const std::string& bytes) {
    for (size_t sent = 0; sent < bytes.size();) {
        ssize_t n = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) return;
        sent += static_cast<size_t>(n);
    }
}

Answer readAnswer(int fd) {
    std::string bytes;
    char chunk[65536];
    Answer answer;
    for (;;) {
        size_t end = bytes.find("\r\n\r\n");
        if (end != std::string::npos && answer.head.empty()) {
            answer.head = bytes.substr(0, end + 2);
            bytes.erase(0, end + 4);
        }
        if (!answer.head.empty() && bytes.size() >= std::stoul("0" + answer.header("Content-Length"))) break;
        ssize_t n = recv(fd, chunk, sizeof chunk, 0);
        if (n <= 0) return Answer{};
        bytes.append(chunk, static_cast<size_t>(n));
    }
    answer.status = std::stoi(answer.head.substr(9, 3));
    answer.body = bytes;
    return answer;
}

Answer roundTrip(int port, const std::string& request) {
    int fd = connectTo(port);
    sendAll(fd, request);
    Answer answer = readAnswer(fd);
    close(fd);
    return answer;
}

std::string post(int port, const std::string& path, const std::string& body,
                 const std::string& headers = "") {
    return "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
           "\r\nContent-Type: application/json\r\n" + headers +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string get(int port, const std::string& path, const std::string& host = "") {
    return "GET " + path +
           " HTTP/1.1\r\nHost: " + (host.empty() ? "127.0.0.1:" + std::to_string(port) : host) + "\r\n\r\n";
}

QMCollectorServer::Options loopback(const std::string& database = ":memory:") {
    QMCollectorServer::Options options;
    options.port = options.diagnosticEventsPort = options.sessionEventsPort = 0;
    options.databasePath = database;
    return options;
}

std::string error(const std::string& message) { return Json{{"error", message}}.dump(); }

std::string nested(size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

std::string objectWithKeys(size_t keys) {
    std::string body = R"({"type":"P","sessionId":"S")";
    for (size_t i = 0; i < keys - 2; ++i) body += ",\"k" + std::to_string(i) + "\":0";
    return body + "}";
}

// `size` zero bytes as gzip: a few kilobytes per megabyte.
std::string gzipOfZeros(size_t size) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 9, Z_DEFAULT_STRATEGY), Z_OK);
    std::string zeros(1 << 20, '\0');
    std::string out(deflateBound(&stream, size), '\0');
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    for (size_t left = size; left > 0; left -= zeros.size()) {
        stream.next_in = reinterpret_cast<Bytef*>(zeros.data());
        stream.avail_in = static_cast<uInt>(zeros.size());
        deflate(&stream, left == zeros.size() ? Z_FINISH : Z_NO_FLUSH);
    }
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

}  // namespace

// 100,000 levels used to overflow the stack when the body was copied or dumped, and as it was
// stored first, again in every collector started on the same file.
TEST(CollectorLimits, DeepBodiesAreRefusedAndAStoredOneCannotCrashARestartedCollector) {
    const std::string path = ::testing::TempDir() + "collector-deep.db";
    std::remove(path.c_str());
    const std::string deep = nested(100'000);
    {
        QMCollectorServer collector(loopback(path));
        collector.start();
        for (int port : {collector.port(), collector.diagnosticEventsPort()}) {
            auto refused =
                roundTrip(port, post(port, port == collector.port() ? "/player/report" : "/veyrakit/", deep));
            EXPECT_EQ(refused.status, 413);
            EXPECT_EQ(refused.body, error("the JSON body nests deeper than 64 levels"));
        }
        EXPECT_EQ(roundTrip(collector.port(), post(collector.port(), "/player/report", nested(64))).status,
                  200);
        EXPECT_EQ(collector.store().requests().size(), 1u);
    }
    // As a collector without the bound stored it: a report of session "S" with a deep value.
    const std::string stored = R"({"type":"P","sessionId":"S","values":)" + deep + "}";
    {
        QMCollectorStore store(path);
        QMCollectorRequest request;
        request.endpoint = QMCollectorEndpoint::Report;
        request.method = "POST";
        request.path = "/player/report";
        request.body = stored;
        request.sessionId = "S";
        request.answerStatus = 200;
        request.answerBody = "{}";
        store.record(request);
    }
    QMCollectorServer restarted(loopback(path));
    restarted.start();
    const int port = restarted.port();
    auto sessions = roundTrip(port, get(port, "/api/sessions?final=1"));
    ASSERT_EQ(sessions.status, 200);
    auto list = Json::parse(sessions.body);
    ASSERT_EQ(list["sessions"].size(), 1u);
    EXPECT_EQ(list["sessions"][0]["sessionId"], "S");
    EXPECT_EQ(list["requestsWithoutSession"], 1);
    auto session = Json::parse(roundTrip(port, get(port, "/api/sessions/S")).body);
    EXPECT_EQ(session["requests"][0]["body"], stored);  // past the bound: text, not JSON
    EXPECT_EQ(roundTrip(port, get(port, "/api/sessions/S/timeline")).status, 200);
    restarted.stop();
    std::remove(path.c_str());
}

// Building an insertion-ordered object costs the square of its keys (25,000 keys: 16 s per
// /api/sessions); past 1,000 keys in one object the body is refused and not stored.
TEST(CollectorLimits, ObjectsWithTooManyKeysAreRefusedAtTheBound) {
    QMCollectorServer collector(loopback());
    collector.start();
    const int port = collector.port();
    EXPECT_EQ(roundTrip(port, post(port, "/player/report", objectWithKeys(1000))).status, 200);
    for (size_t keys : {1001, 25'000}) {
        auto refused = roundTrip(port, post(port, "/player/report", objectWithKeys(keys)));
        EXPECT_EQ(refused.status, 413) << keys;
        EXPECT_EQ(refused.body, error("an object in the JSON body has more than 1000 keys")) << keys;
    }
    auto stored = collector.store().requests();
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(Json::parse(stored[0].body).size(), 1000u);
}

// Each used to be taken whole into memory: 486 KB of gzip grew into 500 MB, 100,000 header fields
// of 1 KB into 661 MB. Now each is answered after at most the bound's bytes were read, and
// nothing is stored.
TEST(CollectorLimits, CompressedOversizedAndOverlongRequestsAreRefusedAfterTheirBoundsBytes) {
    QMCollectorServer collector(loopback());
    collector.start();
    const int port = collector.port();
    const std::string bomb = gzipOfZeros(size_t{64} << 20);
    ASSERT_LT(bomb.size(), 100'000u);
    auto compressed = roundTrip(port, post(port, "/player/report", bomb, "Content-Encoding: gzip\r\n"));
    EXPECT_EQ(compressed.status, 415);
    EXPECT_EQ(compressed.body, error("compressed bodies are not accepted"));
    EXPECT_EQ(compressed.header("Connection"), "close");

    const std::string tooLarge = error("the body is larger than 1048576 bytes");
    auto declared =
        roundTrip(port, "POST /player/report HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 2000000\r\n\r\n");
    EXPECT_EQ(declared.status, 413);
    EXPECT_EQ(declared.body, tooLarge);
    std::string chunked =
        "POST /player/report HTTP/1.1\r\nHost: 127.0.0.1\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (int i = 0; i < 20; ++i) chunked += "10000\r\n" + std::string(0x10000, ' ') + "\r\n";
    auto counted = roundTrip(port, chunked + "0\r\n\r\n");
    EXPECT_EQ(counted.status, 413);
    EXPECT_EQ(counted.body, tooLarge);

    std::string fields = "GET /api/sessions HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    for (int i = 0; i < 99; ++i) fields += "X-" + std::to_string(i) + ": 1\r\n";
    EXPECT_EQ(roundTrip(port, fields + "\r\n").status, 200);  // Host and 99 more: the bound
    auto many = roundTrip(port, fields + "X-Last: 1\r\n\r\n");
    EXPECT_EQ(many.status, 431);
    EXPECT_EQ(many.body, error("the request has more than 100 header fields"));
    std::string kilobyte(1000, 'v');
    std::string flood = "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    for (int i = 0; i < 1000; ++i) flood += "X-Long: " + kilobyte + "\r\n";
    auto large = roundTrip(port, flood + "\r\n");
    EXPECT_EQ(large.status, 431);
    EXPECT_EQ(large.body, error("the request head is larger than 32768 bytes"));
    EXPECT_EQ(collector.store().requests().size(), 0u);
}

// A thread per connection, their number bounded: clients that trickle their head byte by byte
// (eight used to hold every worker of the main port, two of a diagnostics port) and 500 idle
// connections leave a normal request its answer; a request not whole within the deadline is
// answered 408.
TEST(CollectorLimits, SlowAndIdleClientsLeaveOtherRequestsTheirAnswers) {
    QMCollectorServer collector(loopback());
    collector.start();
    const int port = collector.port();
    const int diagnostics = collector.diagnosticEventsPort();
    std::vector<int> slow;
    for (int i = 0; i < 10; ++i) slow.push_back(connectTo(i < 8 ? port : diagnostics));
    std::atomic<bool> done{false};
    std::thread trickle([&] {
        const std::string head = "POST /player/report HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ";
        for (size_t at = 0; !done; ++at) {
            for (int fd : slow) sendAll(fd, std::string(1, at < head.size() ? head[at] : 'z'));
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    auto answered = [&] {
        auto init = roundTrip(port, post(port, "/player/init", R"({"assetId":"A"})"));
        EXPECT_EQ(init.status, 200);
        EXPECT_EQ(init.body.find(R"({"intervalSeconds":10000,"skipReports":0,"sessionId":")"), 0u);
        EXPECT_EQ(roundTrip(diagnostics, post(diagnostics, "/veyrakit/", "{}")).body, "{}");
    };
    answered();
    std::vector<int> idle;
    for (int i = 0; i < 500; ++i) idle.push_back(connectTo(port));
    answered();
    done = true;
    trickle.join();
    for (int fd : slow) close(fd);
    for (int fd : idle) close(fd);

    auto options = loopback();
    options.limits.requestTimeout = std::chrono::milliseconds(500);
    QMCollectorServer strict(options);
    strict.start();
    int fd = connectTo(strict.port());
    sendAll(fd, "POST /player/report HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 10\r\n\r\n{}");
    auto late = readAnswer(fd);
    close(fd);
    EXPECT_EQ(late.status, 408);
    EXPECT_EQ(late.body, error("the request did not arrive within 500 ms"));
    EXPECT_EQ(strict.store().requests().size(), 0u);
}

// The dashboard runs only its own files, and no answer is read as another type than it says.
TEST(CollectorLimits, EveryAnswerCarriesTheSecurityHeaders) {
    QMCollectorServer collector(loopback());
    collector.start();
    const int port = collector.port();
    for (const char* path : {"/", "/sessions/S", "/dashboard/dashboard.js", "/api/sessions", "/nothing"}) {
        auto answer = roundTrip(port, get(port, path));
        EXPECT_EQ(answer.header("X-Content-Type-Options"), "nosniff") << path;
        EXPECT_EQ(
            answer.header("Content-Security-Policy"),
            "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src data:; "
            "base-uri 'none'; form-action 'none'; frame-ancestors 'none'")
            << path;
    }
}

// A web page of another origin may not post (a no-cors text/plain fetch needs no preflight), nor
// read the API through a DNS name rebound to 127.0.0.1; the dashboard's own origin may.
TEST(CollectorLimits, HostAndOriginMustNameThisCollector) {
    QMCollectorServer collector(loopback());
    collector.start();
    const int port = collector.port();
    const std::string own = "127.0.0.1:" + std::to_string(port);
    for (const std::string& host :
         std::vector<std::string>{own, "localhost:" + std::to_string(port), "[::1]", "127.1.2.3:1"}) {
        EXPECT_EQ(roundTrip(port, get(port, "/api/sessions", host)).status, 200) << host;
    }
    auto rebound = roundTrip(port, get(port, "/api/sessions", "attacker.example:" + std::to_string(port)));
    EXPECT_EQ(rebound.status, 421);
    EXPECT_EQ(rebound.body, error("the Host header names another server"));

    const std::string body = R"({"assetId":"A"})";
    for (const std::string& origin : std::vector<std::string>{"http://attacker.example", "null",
                                                              "http://localhost:" + std::to_string(port)}) {
        auto refused = roundTrip(port, post(port, "/player/init", body, "Origin: " + origin + "\r\n"));
        EXPECT_EQ(refused.status, 403) << origin;
        EXPECT_EQ(refused.body, error("requests from web pages of another origin are refused")) << origin;
    }
    EXPECT_EQ(roundTrip(port, post(port, "/player/init", body, "Origin: http://" + own + "\r\n")).status,
              200);
    EXPECT_EQ(collector.store().requests().size(), 1u);
}

// Session ids are the client's text: "/" and "%" included, each id has its API routes and page.
TEST(CollectorLimits, SessionsWhoseIdsHoldSlashOrPercentHaveTheirRoutesAndPage) {
    QMCollectorServer collector(loopback());
    collector.start();
    const int port = collector.port();
    for (const char* id : {"a/b", "50%"}) {
        Json report{{"type", "S"}, {"sessionId", id}, {"pulseNumber", 1}};
        EXPECT_EQ(roundTrip(port, post(port, "/player/report", report.dump())).status, 200);
    }
    for (const auto& [encoded, id] :
         {std::pair{"a%2Fb", "a/b"}, std::pair{"50%25", "50%"}, std::pair{"50%", "50%"}}) {
        auto session = roundTrip(port, get(port, std::string("/api/sessions/") + encoded));
        ASSERT_EQ(session.status, 200) << encoded;
        EXPECT_EQ(Json::parse(session.body)["sessionId"], id);
        auto timeline = roundTrip(port, get(port, std::string("/api/sessions/") + encoded + "/timeline"));
        EXPECT_EQ(Json::parse(timeline.body)["timeline"].size(), 1u) << encoded;
    }
    EXPECT_EQ(roundTrip(port, get(port, "/sessions/a%2Fb")).body, roundTrip(port, get(port, "/")).body);
    EXPECT_EQ(roundTrip(port, get(port, "/api/sessions/a/b")).status, 404);
    EXPECT_EQ(collector.store().requests().size(), 3u);  // the two reports, and the stray GET
}

}  // namespace veyrakit
