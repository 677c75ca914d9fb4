#include <gtest/gtest.h>
#include <httplib.h>

#include <map>
#include <mutex>
#include <thread>

#include "unit/avplayer/QMAVPlayerSessionTest.h"

namespace veyrakit {

namespace {

// The real loop and libcurl against a collector stub on 127.0.0.1; the simulated player runs on
// wall-clock time, so the scenario is short and reports come every second.
class AVPlayerSessionOverSockets : public QMAVPlayerSessionTest {
  protected:
    void SetUp() override {
        QMAVPlayerSessionTest::SetUp();
        QMRunLoop::setMainRunLoop(realLoop);
        stubs().disable();
        server.Post(R"(/player/(init|report))", [this](const httplib::Request& req, httplib::Response& res) {
            std::lock_guard<std::mutex> lock(mutex);
            received.push_back(req.path + " " + req.body);
            res.set_content(
                req.path == "/player/init" ? R"({"sessionId":"S-7","intervalSeconds":1000})" : "{}",
                "application/json");
        });
        server.set_keep_alive_timeout(1);  // stop() waits for idle connections at most this long
        base = "http://127.0.0.1:" + std::to_string(server.bind_to_any_port("127.0.0.1"));
        thread = std::thread([this] { server.listen_after_bind(); });
        while (!server.is_running()) {
            std::this_thread::yield();
        }
    }
    void TearDown() override {
        server.stop();
        thread.join();
        QMAVPlayerSessionTest::TearDown();
    }

    std::shared_ptr<QMRunLoop> realLoop = std::make_shared<QMRunLoop>();
    httplib::Server server;
    std::thread thread;
    std::mutex mutex;
    Strings received;
    std::string base;
};

}  // namespace

TEST_F(AVPlayerSessionOverSockets, APlaybackStoppedByTheHostIsReportedWithGapFreePulsesAndEndsTheSession) {
    simulator = QMPlayerSimulator::simulatorWithScenario(QMScenarioParser::parse(R"(
url https://media.veyrakit.invalid/vod/short/master.m3u8
duration 0:30
variant 800000
variant 1500000
at 0:00 play
at 0:00.300 ready
at 0:01.300 bitrate 1500000
at 0:02.800 stop-playback
at 0:02.800 stop
)"),
                                                         std::make_shared<QMFacadeSimulatorHost>());
    QMVeyraKit::pluginWithAVPlayer(simulator->player(), "A-1", base, "C-1", "VOD", "Short", std::nullopt,
                                   std::nullopt, std::nullopt);
    simulator->start();
    ASSERT_TRUE(realLoop->runUntil([&] { return plugin()->destroyed(); }, 20'000));
    realLoop->runUntil([] { return false; }, 1'500);  // late answers arrive; nothing more is sent

    // Connections run in parallel: order what arrived by pulse number.
    std::lock_guard<std::mutex> lock(mutex);
    std::map<int, QMJSON> byPulse;
    for (const auto& request : received) {
        if (request.rfind("/player/report ", 0) == 0) {
            auto body = QMJSON::parse(request.substr(15));
            byPulse[body["pulseNumber"].get<int>()] = body;
        }
    }
    ASSERT_EQ(received.size(), byPulse.size() + 1);
    ASSERT_GE(byPulse.size(), 7u);  // S, P, D, J, the switch, at least one tick, the last P
    std::string types;
    int periodical = 0;
    for (const auto& [pulse, body] : byPulse) {
        EXPECT_EQ(pulse, static_cast<int>(types.size()) + 1);
        EXPECT_EQ(body["sessionId"], "S-7");
        types += body["type"].get<std::string>();
        if (body["type"] == "P") {
            EXPECT_EQ(body["periodicalNumber"], ++periodical);
        }
    }
    // The first P follows the session start; duration and join time go out together.
    EXPECT_NE(types.find("SP"), std::string::npos);
    EXPECT_NE(types.find("DJ"), std::string::npos);
    const QMJSON& last = byPulse.rbegin()->second;
    EXPECT_EQ(last["playbackCompleted"], true);
    EXPECT_EQ(last["assetDuration"], "30");
    EXPECT_EQ(last["currentBitRate"], 1500000);
    expectNothingLeft(simulator->player());
}

}  // namespace veyrakit
