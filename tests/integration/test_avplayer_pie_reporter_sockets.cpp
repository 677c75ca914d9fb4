#include <gtest/gtest.h>
#include <httplib.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "diagnostics/QMAVPlayerPIEReporter.h"
#include "support/QMDefaultPortGuard.h"
#include "support/QMTestEnvironment.h"

namespace veyrakit {

// The real loop, libcurl and the URL session's worker against an in-test server on 127.0.0.1 that
// serves the master playlist and takes the session events.
class QMAVPlayerPIEReporterOverSockets : public QMVirtualTimeTest {
  protected:
    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        QMRunLoop::setMainRunLoop(realLoop);
        stubs().disable();
        server.Get("/v/master.m3u8", [](const httplib::Request&, httplib::Response& res) {
            res.set_content("#EXT-X-STREAM-INF:BANDWIDTH=800000,RESOLUTION=960x540\nlow.m3u8\n",
                            "text/plain");
        });
        server.Post("/sessionEventsHandler/sessions",
                    [this](const httplib::Request& req, httplib::Response&) {
                        std::lock_guard<std::mutex> lock(mutex);
                        QMJSON body = QMJSON::parse(req.body);
                        for (auto& event : body["events"]) {
                            events.push_back(std::move(event));
                        }
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
    }
    void TearDown() override {
        server.stop();
        thread.join();
        QMVirtualTimeTest::TearDown();
    }
    std::size_t received() {
        std::lock_guard<std::mutex> lock(mutex);
        return events.size();
    }

    std::shared_ptr<QMRunLoop> realLoop = QMDefaultPortGuard::guardedLoop();
    httplib::Server server;
    std::thread thread;
    std::mutex mutex;
    std::vector<QMJSON> events;
    std::string base;
};

TEST_F(QMAVPlayerPIEReporterOverSockets, ThePlaylistIsFetchedAndTheEventsArriveInIndexOrder) {
    auto reporter = std::make_shared<QMAVPlayerPIEReporter>()->initWithPlayer(
        AVPlayer::playerWithURL(QMURL::URLWithString(base + "/v/master.m3u8")), "A-1", "C-1", "VOD", "Name",
        std::nullopt, std::nullopt, std::nullopt);
    reporter->setSessionEventsURL(base + "/sessionEventsHandler/sessions");
    reporter->setSessionId("S-9");
    // init, playbackBufferEmpty, the first position and the two playlist events, in one post or more.
    ASSERT_TRUE(realLoop->runUntil([&] { return received() >= 5; }, 10'000));
    reporter->stopPlayback();  // its timer would keep it running
    reporter.reset();

    std::lock_guard<std::mutex> lock(mutex);
    std::string names;
    for (std::size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(events[i]["index"], i + 1);
        names += events[i]["name"].get<std::string>() + " " + events[i].value("info", QMJSON()).dump() + "\n";
    }
    EXPECT_NE(names.find("availableBitrates {\"bitrates\":[800000]}\n"), std::string::npos);
    EXPECT_NE(names.find("availableResolutions {\"resolutions\":[{\"width\":960,\"height\":540}]}\n"),
              std::string::npos);
}

}  // namespace veyrakit
