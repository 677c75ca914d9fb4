#include <gtest/gtest.h>
#include <httplib.h>

#include <mutex>
#include <thread>

#include "support/QMDefaultPortGuard.h"
#include "unit/mpmovieplayer/QMMPMoviePlayerSessionTest.h"
#include "veyrakit/QMDiagnosticCollectors.h"

namespace veyrakit {

// The real loop and libcurl: a movie player session whose server and diagnostic collector are one
// in-test server on 127.0.0.1.
using MPMoviePlayerDiagnosticsOverSockets = QMMPMoviePlayerSessionTest;

TEST_F(MPMoviePlayerDiagnosticsOverSockets, DiagnosticPostsArriveOverSocketsAndTheirStatusIsLogged) {
    auto realLoop = QMDefaultPortGuard::guardedLoop();
    QMRunLoop::setMainRunLoop(realLoop);
    stubs().disable();
    httplib::Server server;
    std::mutex mutex;
    std::vector<httplib::Request> posts;
    server.Post("/player/init", [](const httplib::Request&, httplib::Response& res) {
        res.set_content(R"({"sessionId":"S-9","intervalSeconds":1000})", "application/json");
    });
    server.Post("/veyrakit/", [&](const httplib::Request& req, httplib::Response&) {
        std::lock_guard<std::mutex> lock(mutex);
        posts.push_back(req);
    });
    server.set_keep_alive_timeout(1);  // stop() waits for idle connections at most this long
    // One request per connection: the diagnostic post may come a second after the session start,
    // when the server drops that idle connection, and a post is never sent twice.
    server.set_keep_alive_max_count(1);
    const std::string base = "http://127.0.0.1:" + std::to_string(server.bind_to_any_port("127.0.0.1"));
    std::thread thread([&] { server.listen_after_bind(); });
    while (!server.is_running()) {
        std::this_thread::yield();
    }
    QMDiagnosticCollectors::setDiagnosticEventsURL(base + "/veyrakit/");

    auto player =
        std::make_shared<MPMoviePlayerController>(QMURL::URLWithString("https://cdn.example/v/a.m3u8"));
    player->setLoadState(MPMovieLoadStatePlayable);
    QMVeyraKit::pluginWithMPMoviePlayerController(player, "A-1", base, "C-1", "VOD", "Short", std::nullopt,
                                                  std::nullopt, std::nullopt);
    player->setScalingMode(MPMovieScalingModeFill);
    EXPECT_TRUE(realLoop->runUntil([&] { return console.contains("Status code: 200"); }, 5'000));
    realLoop->runUntil([] { return false; }, 1'200);  // the next tick has nothing to send
    server.stop();
    thread.join();
    QMDiagnosticCollectors::setDiagnosticEventsURL(std::nullopt);

    ASSERT_EQ(posts.size(), 1u);
    EXPECT_EQ(posts[0].get_header_value("Content-Type"), "application/json");
    EXPECT_EQ(posts[0].get_header_value("Content-Length"), std::to_string(posts[0].body.size()));
    EXPECT_TRUE(console.contains(posts[0].body));
    auto body = QMJSON::parse(posts[0].body);
    EXPECT_EQ(body["session"].dump(),
              R"({"assetId":"A-1","qmrCID":"C-1","assetType":"VOD","assetName":"Short","assetMetadata":{},)"
              R"("viewerMetadata":{}})");
    Strings names;
    for (const auto& event : body["events"]) {
        EXPECT_EQ(event["index"], names.size() + 1);
        names.push_back(event["name"]);
    }
    EXPECT_EQ(names,
              (Strings{"play", "Scaling mode changed to Fill\n", "URI: (null)\n", "Server address: (null)\n",
                       "Session ID: (null)\n", "URI: (null)\n", "Server address: (null)\n",
                       "Session ID: (null)\n", "Error domain: (null)\n", "Error comment: (null)\n"}));
}

}  // namespace veyrakit
