#include <gtest/gtest.h>
#include <httplib.h>

#include <map>
#include <mutex>
#include <thread>

#include "unit/mpmovieplayer/QMMPMoviePlayerSessionTest.h"
#include "veyrakit/QMDiagnosticCollectors.h"

namespace veyrakit {

namespace {

// The real loop and libcurl against a collector stub on 127.0.0.1; the simulated movie player
// runs on wall-clock time, so the scenario is short and reports come every second.
class MPMoviePlayerSessionOverSockets : public QMMPMoviePlayerSessionTest {
  protected:
    void SetUp() override {
        QMMPMoviePlayerSessionTest::SetUp();
        QMRunLoop::setMainRunLoop(realLoop);
        stubs().disable();
        server.Post(R"(/player/(init|report))", [this](const httplib::Request& req, httplib::Response& res) {
            std::lock_guard<std::mutex> lock(mutex);
            received.push_back(req.path + " " + req.body);
            res.set_content(
                req.path == "/player/init" ? R"({"sessionId":"S-7","intervalSeconds":1000})" : "{}",
                "application/json");
        });
        // The diagnostic handler's posts go to this server too, apart from the reports.
        server.Post("/veyrakit/", [this](const httplib::Request&, httplib::Response&) {
            std::lock_guard<std::mutex> lock(mutex);
            ++diagnosticPosts;
        });
        server.set_keep_alive_timeout(1);  // stop() waits for idle connections at most this long
        base = "http://127.0.0.1:" + std::to_string(server.bind_to_any_port("127.0.0.1"));
        thread = std::thread([this] { server.listen_after_bind(); });
        while (!server.is_running()) {
            std::this_thread::yield();
        }
        QMDiagnosticCollectors::setDiagnosticEventsURL(base + "/veyrakit/");
    }
    void TearDown() override {
        server.stop();
        thread.join();
        QMDiagnosticCollectors::setDiagnosticEventsURL(std::nullopt);
        QMMPMoviePlayerSessionTest::TearDown();
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

    std::shared_ptr<QMRunLoop> realLoop = std::make_shared<QMRunLoop>();
    httplib::Server server;
    std::thread thread;
    std::mutex mutex;
    Strings received;
    int diagnosticPosts = 0;
    std::string base;
};

}  // namespace

TEST_F(MPMoviePlayerSessionOverSockets, APlaybackErrorIsTheLastReportAndEndsTheSession) {
    simulator = QMPlayerSimulator::simulatorWithScenario(QMScenarioParser::parse(R"(
player mpmovieplayer
url https://media.veyrakit.invalid/vod/short/master.m3u8
duration 0:30
variant 800000
at 0:00 play
at 0:00.300 ready
at 0:00.800 buffer-full
at 0:02.600 fail
)"),
                                                         std::make_shared<QMFacadeSimulatorHost>());
    QMVeyraKit::pluginWithMPMoviePlayerController(simulator->moviePlayer(), "A-1", base, "C-1", "VOD",
                                                  "Short", std::nullopt, std::nullopt, std::nullopt);
    simulator->start();
    const auto parts = sessionParts();
    ASSERT_TRUE(realLoop->runUntil([&] { return plugin()->destroyed(); }, 20'000));
    realLoop->runUntil([] { return false; }, 1'500);  // late answers arrive; nothing more is sent

    const auto byPulse = reportsByPulse();
    std::string types;
    int periodical = 0;
    for (const auto& [pulse, body] : byPulse) {
        EXPECT_EQ(pulse, static_cast<int>(types.size()) + 1);
        EXPECT_EQ(body["sessionId"], "S-7");
        types += body["type"].get<std::string>();
        if (body["type"] == "P") {
            EXPECT_EQ(body["periodicalNumber"], ++periodical);
            EXPECT_TRUE(body["playing"].is_boolean());
            EXPECT_FALSE(body.contains("alive"));
            EXPECT_FALSE(body.contains("bufferingTimeLeadingToNow"));
            EXPECT_FALSE(body.contains("playbackCompleted"));
        }
    }
    // The session start, its first P, duration and join time, at least one tick, and the error
    // last: the finish destroys the session before any metric could add a last report.
    EXPECT_EQ(types.substr(0, 2), "SP");
    EXPECT_NE(types.find("DJ"), std::string::npos);
    EXPECT_GE(periodical, 2);
    EXPECT_EQ(types.back(), 'E');
    EXPECT_EQ(byPulse.rbegin()->second.size(), 3u);  // type, sessionId, pulseNumber
    {
        std::lock_guard<std::mutex> lock(mutex);
        EXPECT_GE(diagnosticPosts, 1);  // the diagnostic handler's, apart from the reports
    }
    expectSessionEnded(parts);
}

}  // namespace veyrakit
