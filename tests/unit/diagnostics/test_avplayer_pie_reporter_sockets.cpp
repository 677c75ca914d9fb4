#include <gtest/gtest.h>
#include <httplib.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "diagnostics/QMAVPlayerPIEReporter.h"
#include "support/QMTestEnvironment.h"

// The real loop, libcurl and the URL session's worker against an in-test server on 127.0.0.1 that
// serves the master playlist and takes the session events.
class QMAVPlayerPIEReporterOverSockets : public QMVirtualTimeTest {
  protected:
    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        QMRunLoop::setMainRunLoop(realLoop);
        stubs().disable();
        server.Get("/v/master.m3u8", [](const httplib::Request&, httplib::Response& res) {
            res.set_content("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=800000,RESOLUTION=960x540\nlow.m3u8\n",
                            "application/vnd.apple.mpegurl");
        });
        server.Post("/sessionEventsHandler/sessions",
                    [this](const httplib::Request& req, httplib::Response&) {
                        std::lock_guard<std::mutex> lock(mutex);
                        received.push_back(QMJSON::parse(req.body));
                    });
        server.set_keep_alive_timeout(1);
        base = "http://127.0.0.1:" + std::to_string(server.bind_to_any_port("127.0.0.1"));
        thread = std::thread([this] { server.listen_after_bind(); });
        while (!server.is_running()) {
            std::this_thread::yield();
        }
    }
    void TearDown() override {
        reporter.reset();
        server.stop();
        thread.join();
        QMVirtualTimeTest::TearDown();
    }
    std::vector<std::string> receivedNames() {
        std::lock_guard<std::mutex> lock(mutex);
        std::vector<std::string> names;
        for (const auto& body : received) {
            for (const auto& event : body["events"]) {
                names.push_back(event["name"].get<std::string>());
            }
        }
        return names;
    }

    std::shared_ptr<QMRunLoop> realLoop = std::make_shared<QMRunLoop>();
    httplib::Server server;
    std::thread thread;
    std::mutex mutex;
    std::vector<QMJSON> received;
    std::string base;
    std::shared_ptr<QMAVPlayerPIEReporter> reporter;
};

TEST_F(QMAVPlayerPIEReporterOverSockets, ThePlaylistIsFetchedAndTheEventsArrive) {
    auto player = AVPlayer::playerWithURL(QMURL::URLWithString(base + "/v/master.m3u8"));
    reporter = std::make_shared<QMAVPlayerPIEReporter>()->initWithPlayer(
        player, "A-1", "C-1", "VOD", "Name", std::nullopt, std::nullopt, std::nullopt);
    reporter->setSessionEventsURL(base + "/sessionEventsHandler/sessions");
    reporter->setSessionId("S-9");
    ASSERT_TRUE(realLoop->runUntil([&] { return receivedNames().size() >= 5; }, 10'000));
    reporter.reset();
    realLoop->runUntil([] { return false; }, 300);  // the last post is answered

    const auto names = receivedNames();
    EXPECT_EQ(std::vector<std::string>(names.begin(), names.begin() + 2),
              (std::vector<std::string>{"init", "playbackBufferEmpty"}));
    // The playlist arrives on the worker while the timer runs: it lands in whichever post follows.
    std::lock_guard<std::mutex> lock(mutex);
    bool bitrates = false, resolutions = false;
    int64_t index = 0;
    for (const auto& body : received) {
        EXPECT_EQ(body["session"]["sessionId"], "S-9");
        for (const auto& event : body["events"]) {
            EXPECT_EQ(event["index"].get<int64_t>(), ++index);
            bitrates |= event["name"] == "availableBitrates" &&
                        event["info"]["bitrates"] == QMJSON::parse("[800000]");
            resolutions |= event["name"] == "availableResolutions" &&
                           event["info"]["resolutions"] == QMJSON::parse(R"([{"width":960,"height":540}])");
        }
    }
    EXPECT_TRUE(bitrates);
    EXPECT_TRUE(resolutions);
}
