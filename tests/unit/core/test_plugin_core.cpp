#include <gtest/gtest.h>

#include "core/QMVeyraPlugin.h"
#include "platform/QMUserDefaults.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMPeriodicalReporter.h"
#include "unit/core/QMCoreTestSupport.h"

namespace veyrakit {

using Lines = std::vector<std::string>;

namespace {
const std::string kSession = R"({"sessionId":"S-1","intervalSeconds":10000,"skipReports":0})";
}

TEST_F(QMCoreTest, InitialisationRegistersAndSendsOneExactSessionRequest) {
    answer("/player/init", kSession);
    QMTestPluginParams params;
    params.viewerMetadata = QMJSON::parse(R"([{"key":"tier","values":["gold"]},{"key":"age","values":[]}])");
    auto plugin = makeTestPlugin(params);
    runFor(0);

    EXPECT_EQ(QMObjectRepository::getRepositoryInstance()->plugin(), plugin);
    EXPECT_EQ(plugin->registerCount, 1);
    ASSERT_TRUE(plugin->eventManager());
    EXPECT_TRUE(plugin->eventManager()->started());
    EXPECT_EQ(plugin->serverHost(), "https://collector.veyrakit.invalid");

    const std::string body =
        R"({"assetId":"A-1","qmrCID":"C-1","assetName":"Name","viewerId":"V-1","protocolVersion":"1.1",)"
        R"("mediaUrl":"https://cdn.example/v/index.m3u8","streamType":"HLS","assetType":"VOD",)"
        R"("assetMetadata":[{"key":"genre","values":["a","b"]}],)"
        R"("viewerMetadata":[{"key":"tier","values":["gold"]},{"key":"age","values":[]}],)"
        R"("uniqueViewerData":[{"key":"viewerIdInCookie","values":["false"]}]})";
    const auto requests = stubs().requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].url, "https://collector.veyrakit.invalid/player/init");
    EXPECT_EQ(requests[0].headers,
              (QMURLRequest::Headers{{"User-Agent", "iosApp/5.0 (iPhone; CPU iOS 17.0 like Mac OS X)"},
                                     {"Content-Type", "application/json"},
                                     {"Content-Length", std::to_string(body.size())}}));
    EXPECT_EQ(requests[0].body, body);

    const std::string initLog =
        "URL: 'https://cdn.example/v/index.m3u8', ST: 'HLS', AID: 'A-1', VID: 'V-1', CID: 'C-1', AT: 'VOD', "
        "AN: 'Name', AMT: {genre:[a, b, ]}, VMT: {tier:[gold, age:[]}, PMT: {pluginName: 'iOS-AVPlayer', "
        "]}, ";
    EXPECT_EQ(plugin->initLog(), initLog);
    ASSERT_GE(console.lines().size(), 2u);
    EXPECT_EQ(console.lines()[0],
              "I IR\t{get session id from server - initWithParams}{2023-11-14T22:13:20.000Z}");
    EXPECT_EQ(logs()[1], "I I " + initLog);
}

TEST_F(QMCoreTest, AbsentValuesAreLeftOutAndTheStoredViewerIdGoesOutBare) {
    QMUserDefaults::standardUserDefaults()->setObject("V-9", "viewerId");
    answer("/player/init", kSession);
    auto plugin = makeTestPlugin({.streamType = std::nullopt,
                                  .assetType = "LIVE",
                                  .assetName = std::nullopt,
                                  .viewerId = std::nullopt,
                                  .assetMetadata = std::nullopt,
                                  .pluginMetadata = std::nullopt});
    runFor(0);
    EXPECT_EQ(
        bodies("/player/init"),
        Lines{
            R"({"assetId":"A-1","qmrCID":"C-1","protocolVersion":"1.1","mediaUrl":"https://cdn.example/v/index.m3u8",)"
            R"("assetType":"LIVE","uniqueViewerData":[{"key":"viewerId","values":"V-9"},)"
            R"({"key":"viewerIdInCookie","values":["true"]}]})"});
    EXPECT_EQ(plugin->initLog(),
              "URL: 'https://cdn.example/v/index.m3u8', ST: '', AID: 'A-1', VID: '', CID: 'C-1', "
              "AT: 'LIVE', AN: '', ");

    // An empty stored id counts as none.
    QMUserDefaults::standardUserDefaults()->setObject("", "viewerId");
    EXPECT_EQ(makeTestPlugin()->uniqueViewerData().dump(),
              R"([{"key":"viewerIdInCookie","values":["false"]}])");
}

TEST_F(QMCoreTest, BlankOrAbsentMandatoryFieldsShutTheAgentDownWithoutARequest) {
    struct Case {
        QMTestPluginParams params;
        std::string message;
    };
    const std::vector<Case> cases = {
        {{.assetId = " \t "}, "E X Missing mandatory field 'assetId'. Agent will shutdown..."},
        {{.assetId = std::nullopt}, "E X Missing mandatory field 'assetId'. Agent will shutdown..."},
        {{.qmrCID = ""}, "E X Missing mandatory field 'qmrCID'. Agent will shutdown..."},
    };
    for (const auto& c : cases) {
        console.clear();
        auto plugin = makeTestPlugin(c.params);
        EXPECT_TRUE(plugin->destroyed());
        // The event manager is made after the tear-down all the same.
        ASSERT_TRUE(plugin->eventManager());
        EXPECT_TRUE(plugin->eventManager()->started());
        EXPECT_EQ(logs(), (Lines{"I IR get session id from server - initWithParams", c.message,
                                 "I T Disposing all parts"}));
    }
    runFor(0);
    EXPECT_TRUE(stubs().requests().empty());
}

TEST_F(QMCoreTest, NoPlaybackUrlThrowsAfterTheRepositoryTookThePlugin) {
    EXPECT_THROW(makeTestPlugin({.url = nullptr}), QMInvalidArgumentException);
    auto registered = QMObjectRepository::getRepositoryInstance()->plugin();
    ASSERT_TRUE(registered);
    EXPECT_EQ(registered->assetId(), "A-1");
    EXPECT_FALSE(registered->eventManager());
    runFor(0);
    EXPECT_TRUE(stubs().requests().empty());
}

TEST_F(QMCoreTest, DestroyRunsOnceReleasesTheSessionPartsAndARestartRevivesIt) {
    answer("/player/init", kSession, 200, 2);
    answer("/player/report", "{}", 200, -1);
    auto plugin = makeTestPlugin();
    plugin->onPlayerStart();
    runFor(0);
    std::weak_ptr<QMPeriodicalReporter> periodical = plugin->periodicalReporter();
    std::weak_ptr<QMEventManager> events = plugin->eventManager();
    ASSERT_FALSE(periodical.expired());
    ASSERT_EQ(bodies("/player/report").size(), 2u);  // SESSION_START and the first periodical

    console.clear();
    plugin->destroy();
    plugin->destroy();
    EXPECT_EQ(logs(), (Lines{"I T Disposing all parts", "I T P timer disposed"}));
    EXPECT_TRUE(periodical.expired());
    EXPECT_TRUE(events.expired());
    EXPECT_TRUE(plugin->metricManagers.at(0).expired());
    EXPECT_EQ(plugin->sessionId(), "S-1");
    runFor(60'000);
    EXPECT_EQ(bodies("/player/report").size(), 2u);
    // The on-demand reporter is kept, and with the periodical one gone the pulse restarts at 1.
    plugin->viewerFaultReport("E42", "2.1");
    runFor(0);
    EXPECT_EQ(
        bodies("/player/report").back(),
        R"({"sessionId":"S-1","type":"F","manual":1,"errorCode":"E42","playerVersion":"2.1","pulseNumber":1})");

    // Playing again is not a revival; stopping and starting after the tear-down is.
    plugin->onPlayerStart();
    EXPECT_TRUE(plugin->destroyed());
    plugin->onPlayerStop();
    console.clear();
    plugin->onPlayerStart();
    EXPECT_FALSE(plugin->destroyed());
    EXPECT_EQ(plugin->metricManagers.size(), 2u);
    EXPECT_EQ(logs().at(0), "I IR get session id from server - onPlayerStart:QMVeyraPlugin");
    runFor(0);
    EXPECT_EQ(times("/player/init"), (std::vector<int64_t>{0, 60'000}));
    EXPECT_TRUE(plugin->periodicalReporter());
    EXPECT_FALSE(plugin->eventManager());

    std::weak_ptr<QMTestPlugin> released = plugin;
    plugin.reset();
    QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
    EXPECT_TRUE(released.expired());
}

}  // namespace veyrakit
