#include <gtest/gtest.h>
#include <httplib.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/QMDefaultPortGuard.h"
#include "unit/players/QMPlayerKinds.h"
#include "veyrakit/QMDiagnosticCollectors.h"

namespace veyrakit {

namespace {

// The real loop and libcurl against a collector stub on 127.0.0.1; the simulated player runs on
// wall-clock time, so the scenario is short and reports come every second. Run once per kind.
template <typename KindTest>
class QMPlayerSessionOverSockets : public KindTest {
  protected:
    using Strings = std::vector<std::string>;

    void SetUp() override {
        KindTest::SetUp();
        QMRunLoop::setMainRunLoop(realLoop);
        this->stubs().disable();
        server.Post(R"(/player/(init|report))", [this](const httplib::Request& req, httplib::Response& res) {
            std::lock_guard<std::mutex> lock(mutex);
            received.push_back(req.path + " " + req.body);
            res.set_content(
                req.path == "/player/init" ? R"({"sessionId":"S-7","intervalSeconds":1000})" : "{}",
                "application/json");
        });
        // The movie player's diagnostic handler posts to this server too, apart from the reports.
        // The AVPlayer's session events too: both diagnostic streams stay on this server.
        server.Post("/sessionEventsHandler/sessions", [](const httplib::Request&, httplib::Response&) {});
        server.Post("/veyrakit/", [this](const httplib::Request&, httplib::Response&) {
            std::lock_guard<std::mutex> lock(mutex);
            ++diagnosticPosts;
        });
        server.set_keep_alive_timeout(1);  // stop() waits for idle connections at most this long
        // One request per connection: posts come every second, and a connection the server
        // drops after a second idle would race the next post, which is never sent twice.
        server.set_keep_alive_max_count(1);
        base = "http://127.0.0.1:" + std::to_string(server.bind_to_any_port("127.0.0.1"));
        thread = std::thread([this] { server.listen_after_bind(); });
        while (!server.is_running()) {
            std::this_thread::yield();
        }
        QMDiagnosticCollectors::setDiagnosticEventsURL(base + "/veyrakit/");
        QMDiagnosticCollectors::setSessionEventsURL(base + "/sessionEventsHandler/sessions");
    }
    void TearDown() override {
        server.stop();
        thread.join();
        QMDiagnosticCollectors::setDiagnosticEventsURL(std::nullopt);
        QMDiagnosticCollectors::setSessionEventsURL(std::nullopt);
        KindTest::TearDown();
    }
    // Monitors the scenario's player against this server and starts it.
    void play(const std::string& scenario) {
        this->simulator = QMPlayerSimulator::simulatorWithScenario(QMScenarioParser::parse(scenario),
                                                                   std::make_shared<QMFacadeSimulatorHost>());
        KindTest::PlayerKind::monitor(KindTest::PlayerKind::playerOf(*this->simulator), base, std::nullopt,
                                      std::nullopt);
        this->simulator->start();
    }
    void runUntilTheSessionEnds() {
        ASSERT_TRUE(realLoop->runUntil([&] { return this->plugin()->destroyed(); }, 20'000));
        realLoop->runUntil([] { return false; }, 1'500);  // late answers arrive; nothing more is sent
    }
    // What arrived, ordered by pulse number (connections run in parallel).
    std::map<int, QMJSON> reportsByPulse() {
        std::lock_guard<std::mutex> lock(mutex);
        std::map<int, QMJSON> byPulse;
        for (const auto& request : received) {
            if (request.rfind("/player/report ", 0) == 0) {
                auto body = QMJSON::parse(request.substr(15));
                byPulse[body["pulseNumber"].get<int>()] = body;
            }
        }
        EXPECT_EQ(received.size(), byPulse.size() + 1);
        return byPulse;
    }
    // The report types in pulse order; every pulse is there once, with the session id, and the
    // periodical reports count up from 1.
    std::string typesInPulseOrder(const std::map<int, QMJSON>& byPulse, int& periodical) {
        std::string types;
        for (const auto& [pulse, body] : byPulse) {
            EXPECT_EQ(pulse, static_cast<int>(types.size()) + 1);
            EXPECT_EQ(body["sessionId"], "S-7");
            types += body["type"].template get<std::string>();
            if (body["type"] == "P") {
                EXPECT_EQ(body["periodicalNumber"], ++periodical);
            }
        }
        return types;
    }

    std::shared_ptr<QMRunLoop> realLoop = QMDefaultPortGuard::guardedLoop();
    httplib::Server server;
    std::thread thread;
    std::mutex mutex;
    Strings received;
    int diagnosticPosts = 0;
    std::string base;
};

TYPED_TEST_SUITE(QMPlayerSessionOverSockets, QMPlayerKinds, QMPlayerKindName);

// An AVPlayer session the host stops; a movie player session a playback error ends.
const char* const kAVPlayerScenario = R"(
url https://media.veyrakit.invalid/vod/short/master.m3u8
duration 0:30
variant 800000
variant 1500000
at 0:00 play
at 0:00.300 ready
at 0:01.300 bitrate 1500000
at 0:02.800 stop-playback
at 0:02.800 stop
)";
const char* const kMPMoviePlayerScenario = R"(
player mpmovieplayer
url https://media.veyrakit.invalid/vod/short/master.m3u8
duration 0:30
variant 800000
at 0:00 play
at 0:00.300 ready
at 0:00.800 buffer-full
at 0:02.600 fail
)";

}  // namespace

TYPED_TEST(QMPlayerSessionOverSockets, ASessionIsReportedWithGapFreePulsesUntilItsEnd) {
    constexpr bool isAVPlayer = std::is_same_v<TypeParam, QMAVPlayerSessionTest>;
    this->play(isAVPlayer ? kAVPlayerScenario : kMPMoviePlayerScenario);
    std::vector<std::weak_ptr<QMObject>> parts;
    if constexpr (!isAVPlayer) {
        parts = this->sessionParts();
    }
    this->runUntilTheSessionEnds();
    const auto byPulse = this->reportsByPulse();
    int periodical = 0;
    const std::string types = this->typesInPulseOrder(byPulse, periodical);
    // The first P follows the session start; duration and join time go out together.
    EXPECT_EQ(types.substr(0, 2), "SP");
    EXPECT_NE(types.find("DJ"), std::string::npos);
    const QMJSON& last = byPulse.rbegin()->second;
    if constexpr (isAVPlayer) {
        ASSERT_GE(byPulse.size(), 7u);  // S, P, D, J, the switch, at least one tick, the last P
        // The host's stop: one last P.
        EXPECT_EQ(last["playbackCompleted"], true);
        EXPECT_EQ(last["assetDuration"], "30");
        EXPECT_EQ(last["currentBitRate"], 1500000);
        this->expectNothingLeft(this->simulator->player());
    } else {
        for (const auto& [pulse, body] : byPulse) {
            if (body["type"] == "P") {
                EXPECT_TRUE(body["playing"].is_boolean());
                EXPECT_FALSE(body.contains("alive"));
                EXPECT_FALSE(body.contains("bufferingTimeLeadingToNow"));
                EXPECT_FALSE(body.contains("playbackCompleted"));
            }
        }
        // At least one tick, and the error last: the finish destroys the session before any
        // metric could add a last report.
        EXPECT_GE(periodical, 2);
        EXPECT_EQ(types.back(), 'E');
        EXPECT_EQ(last.size(), 3u);  // type, sessionId, pulseNumber
        {
            std::lock_guard<std::mutex> lock(this->mutex);
            EXPECT_GE(this->diagnosticPosts, 1);  // the diagnostic handler's, apart from the reports
        }
        this->expectSessionEnded(parts);
    }
}

}  // namespace veyrakit
