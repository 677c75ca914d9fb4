#include <gtest/gtest.h>
#include <httplib.h>

#include <mutex>
#include <thread>

#include "unit/mpmovieplayer/QMMPMoviePlayerSessionTest.h"
#include "veyrakit/QMDiagnosticCollectors.h"

namespace {

struct ReceivedPost {
    std::string body;
    std::string contentType;
    std::string contentLength;
};

// The real loop and libcurl: a movie player session whose server and diagnostic collector are one
// in-test server on 127.0.0.1.
class MovieDiagnosticsOverSockets : public QMMPMoviePlayerSessionTest {
  protected:
    void SetUp() override {
        QMMPMoviePlayerSessionTest::SetUp();
        QMRunLoop::setMainRunLoop(realLoop);
        stubs().disable();
        server.Post("/player/init", [](const httplib::Request&, httplib::Response& res) {
            res.set_content(R"({"sessionId":"S-9","intervalSeconds":1000})", "application/json");
        });
        server.Post("/veyrakit/", [this](const httplib::Request& req, httplib::Response&) {
            std::lock_guard<std::mutex> lock(mutex);
            posts.push_back(
                {req.body, req.get_header_value("Content-Type"), req.get_header_value("Content-Length")});
        });
        server.set_keep_alive_timeout(1);
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
    std::vector<ReceivedPost> received() {
        std::lock_guard<std::mutex> lock(mutex);
        return posts;
    }

    std::shared_ptr<QMRunLoop> realLoop = std::make_shared<QMRunLoop>();
    httplib::Server server;
    std::thread thread;
    std::mutex mutex;
    std::vector<ReceivedPost> posts;
    std::string base;
};

}  // namespace

TEST_F(MovieDiagnosticsOverSockets, PostsArriveWithTheirBodyAndHeadersAndTheStatusIsLogged) {
    auto player =
        std::make_shared<MPMoviePlayerController>(QMURL::URLWithString("https://cdn.example/v/a.m3u8"));
    player->setLoadState(MPMovieLoadStatePlayable);
    QMVeyraKit::pluginWithMPMoviePlayerController(player, "A-1", base, "C-1", "VOD", "Short", std::nullopt,
                                                  std::nullopt, std::nullopt);
    player->setScalingMode(MPMovieScalingModeFill);
    ASSERT_TRUE(realLoop->runUntil([&] { return console.contains("Status code: 200"); }, 5'000));

    const auto first = received().at(0);
    EXPECT_EQ(first.contentType, "application/json");
    EXPECT_EQ(first.contentLength, std::to_string(first.body.size()));
    const auto body = QMJSON::parse(first.body);
    EXPECT_EQ(
        body["session"].dump(),
        R"({"assetId":"A-1","qmrCID":"C-1","assetType":"VOD","assetName":"Short","assetMetadata":{},"viewerMetadata":{}})");
    Strings names;
    for (const auto& event : body["events"]) {
        EXPECT_EQ(event["index"], names.size() + 1);
        names.push_back(event["name"]);
    }
    EXPECT_EQ(names,
              (Strings{"play", "Scaling mode changed to Fill\n", "URI: (null)\n", "Server address: (null)\n",
                       "Session ID: (null)\n", "URI: (null)\n", "Server address: (null)\n",
                       "Session ID: (null)\n", "Error domain: (null)\n", "Error comment: (null)\n"}));
    EXPECT_TRUE(console.contains(first.body));
    realLoop->runUntil([] { return false; }, 1'200);
    EXPECT_EQ(received().size(), 1u);  // the next tick had nothing to send
}
