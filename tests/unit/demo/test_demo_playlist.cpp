#include <curl/curl.h>
#include <gtest/gtest.h>

#include <string>

#include "demo/QMDemoPlaylist.h"
#include "demo/QMDemoPlaylistServer.h"
#include "simulator/QMScenarioParser.h"

namespace veyrakit {

// The master playlist the demo serves for a scenario's ladder, and its loopback server.

namespace {

const char* const kScenario =
    "url \"https://media.example.invalid/vod/a/master.m3u8?token=1\"\n"
    "playlist served\n"
    "duration 2:00\n"
    "size 1024x576\n"
    "variant 400000 640x360\n"
    "variant 800000\n"
    "variant 1500000 1280x720 uri=https://cdn.example.invalid/hi.m3u8\n";

size_t collect(char* data, size_t size, size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

}  // namespace

TEST(DemoPlaylist, OneStreamLineWithAverageBandwidthAndResolutionPerVariant) {
    auto scenario = QMScenarioParser::parse(kScenario, "t.scenario");
    EXPECT_EQ(QMDemoPlaylist::masterPlaylist(*scenario),
              "#EXTM3U\n#EXT-X-VERSION:3\n"
              "#EXT-X-STREAM-INF:BANDWIDTH=400000,AVERAGE-BANDWIDTH=320000,RESOLUTION=640x360\n"
              "400000/index.m3u8\n"
              "#EXT-X-STREAM-INF:BANDWIDTH=800000,AVERAGE-BANDWIDTH=640000,RESOLUTION=1024x576\n"
              "800000/index.m3u8\n"
              "#EXT-X-STREAM-INF:BANDWIDTH=1500000,AVERAGE-BANDWIDTH=1200000,RESOLUTION=1280x720\n"
              "https://cdn.example.invalid/hi.m3u8\n");
    EXPECT_EQ(QMDemoPlaylist::averageBandwidth(1'280'001), 1'024'000);
    EXPECT_EQ(QMDemoPlaylist::pathOf("https://h.invalid:8443/live/x.m3u8#top"), "/live/x.m3u8");
    EXPECT_EQ(QMDemoPlaylist::pathOf("https://h.invalid"), "/");
}

TEST(DemoPlaylist, TheServerAnswersAtTheMediaURLsPathOnLoopback) {
    auto scenario = QMScenarioParser::parse(kScenario, "t.scenario");
    QMDemoPlaylistServer server(*scenario);
    server.start();
    const std::string url = server.url();
    ASSERT_TRUE(url.starts_with("http://127.0.0.1:")) << url;
    EXPECT_TRUE(url.ends_with("/vod/a/master.m3u8")) << url;

    std::string body;
    long status = 0;
    CURL* curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
    EXPECT_EQ(curl_easy_perform(curl), CURLE_OK);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_cleanup(curl);
    EXPECT_EQ(status, 200);
    EXPECT_EQ(body, QMDemoPlaylist::masterPlaylist(*scenario));
    server.stop();
}

}  // namespace veyrakit
