#include <gtest/gtest.h>

#include "unit/core/QMCoreTestSupport.h"
#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

using Lines = std::vector<std::string>;

namespace {

// Creators that make test plugins and note the server host, metadata and slot they saw.
class QMFacadeTest : public QMCoreTest {
  protected:
    void SetUp() override {
        QMCoreTest::SetUp();
        answer("/player/init", R"({"sessionId":"S-1"})", 200, -1);
        auto creator = [this](std::shared_ptr<QMVeyraPlugin> (*slot)()) {
            return [this, slot](const auto&, const QMSessionDescription& description) {
                return make(description.serverHost, description.pluginMetadata.value(), slot());
            };
        };
        QMMonitoringSessions::setAVPlayerPluginCreator(
            creator(&QMMonitoringSessions::currentAVPlayerMonitoringSession));
        QMMonitoringSessions::setMPMoviePlayerPluginCreator(
            creator(&QMMonitoringSessions::currentMPMoviePlayerMonitoringSession));
    }
    void TearDown() override {
        QMMonitoringSessions::setAVPlayerPluginCreator(nullptr);
        QMMonitoringSessions::setMPMoviePlayerPluginCreator(nullptr);
        QMCoreTest::TearDown();
    }
    std::shared_ptr<QMVeyraPlugin> make(const std::optional<std::string>& host,
                                        const QMPluginMetadata& metadata,
                                        std::shared_ptr<QMVeyraPlugin> slot) {
        if (failWith) {
            throw QMIllegalStateException(*failWith);
        }
        seen.emplace_back(host.value_or("(none)") + " " + metadata.at("pluginName"), std::move(slot));
        return makeTestPlugin({.serverHost = host});
    }
    static std::shared_ptr<QMTestPlugin> av() {
        return std::dynamic_pointer_cast<QMTestPlugin>(
            QMMonitoringSessions::currentAVPlayerMonitoringSession());
    }
    static std::shared_ptr<QMTestPlugin> mp() {
        return std::dynamic_pointer_cast<QMTestPlugin>(
            QMMonitoringSessions::currentMPMoviePlayerMonitoringSession());
    }
    void createMP(const std::shared_ptr<MPMoviePlayerController>& player) {
        QMVeyraKit::pluginWithMPMoviePlayerController(player, "A-1", "C-1", std::nullopt, "N", "V",
                                                      std::nullopt, std::nullopt);
    }

    std::optional<std::string> failWith;
    std::vector<std::pair<std::string, std::shared_ptr<QMVeyraPlugin>>> seen;
    std::shared_ptr<AVPlayer> avPlayer = std::make_shared<AVPlayer>();
};

}  // namespace

TEST_F(QMFacadeTest, AVPlayerPluginIsReplacedDestroyedOrDroppedOnFailure) {
    QMVeyraKit::pluginWithAVPlayer(avPlayer, "A-1", "C-1", std::nullopt, "N", "V", std::nullopt,
                                   std::nullopt);
    auto first = av();
    const std::string host = QMVeyraPlugin::DEFAULT_SERVER_HOST();
    QMVeyraKit::pluginWithAVPlayer(avPlayer, "A-1", host, "C-1", std::nullopt, "N", "V", std::nullopt,
                                   std::nullopt);
    EXPECT_TRUE(first->destroyed());
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].first, "(none) iOS-AVPlayer");
    EXPECT_FALSE(seen[1].second);  // emptied before the new plugin is made
    runFor(0);
    const auto inits = stubs().requestsTo("/player/init");
    EXPECT_EQ(inits.at(0).url, inits.at(1).url);

    auto second = av();
    failWith = "no item";
    QMVeyraKit::pluginWithAVPlayer(avPlayer, "A-1", "C-1", std::nullopt, "N", "V", std::nullopt,
                                   std::nullopt);
    EXPECT_TRUE(second->destroyed());
    EXPECT_FALSE(av());
    EXPECT_EQ(logs().back(), "E SV can't create plugin.error:no item");

    failWith.reset();
    QMVeyraKit::pluginWithAVPlayer(avPlayer, "A-1", "C-1", std::nullopt, "N", "V", std::nullopt,
                                   std::nullopt);
    auto third = av();
    QMVeyraKit::pluginWithAVPlayer(nullptr, "A-1", "C-1", std::nullopt, "N", "V", std::nullopt, std::nullopt);
    EXPECT_TRUE(third->destroyed());
    EXPECT_FALSE(av());
    EXPECT_EQ(seen.size(), 3u);
}

TEST_F(QMFacadeTest, MPMoviePlayerPluginIsDestroyedThenDisposedAndKeptWithoutAPlayer) {
    auto player =
        std::make_shared<MPMoviePlayerController>(QMURL::URLWithString("https://cdn.example/a.mp4"));
    createMP(player);
    auto first = mp();
    EXPECT_EQ(seen.at(0).first, "(none) iOS-MPMoviePlayerController");
    console.clear();
    createMP(nullptr);
    EXPECT_EQ(logs().front(),
              "I T CDNSwitchingPluginManager: Destroying old plugin instance to create new one.");
    EXPECT_EQ(first->commands, Lines{"dispose after destroy"});
    EXPECT_EQ(mp(), first);

    createMP(player);
    EXPECT_EQ(seen.at(1).second, first);  // the slot is not emptied on this path
    EXPECT_EQ(first->commands.size(), 2u);
    EXPECT_NE(mp(), first);
}

TEST_F(QMFacadeTest, CommandsReachOnlyTheAVPlayerPlugin) {
    auto forwardAll = [] {
        QMVeyraKit::sizeChangedToFullScreen();
        QMVeyraKit::sizeChangedToWindow();
        QMVeyraKit::stopPlayback();
        QMVeyraKit::startAds();
        QMVeyraKit::stopAds();
        QMVeyraKit::viewerFaultReport("E1", "1.0");
    };
    forwardAll();  // no plugin at all
    createMP(std::make_shared<MPMoviePlayerController>(QMURL::URLWithString("https://cdn.example/a.mp4")));
    console.clear();
    forwardAll();
    EXPECT_TRUE(mp()->commands.empty());
    EXPECT_TRUE(console.lines().empty());

    QMVeyraKit::pluginWithAVPlayer(avPlayer, "A-1", "C-1", std::nullopt, "N", "V", std::nullopt,
                                   std::nullopt);
    console.clear();
    forwardAll();
    EXPECT_EQ(av()->commands, (Lines{"fullScreen", "window", "stop", "startAds", "stopAds"}));
    EXPECT_EQ(logs(), Lines{"E X Viewer wants to report a fault but there is no reporter to do that. "});
}

// A host whose player is gone ends monitoring for good: a session under way gets its last report
// (stopPlayback), one still waiting for its id is destroyed as well, since it has no reporter yet.
TEST_F(QMFacadeTest, EndingAVPlayerMonitoringDestroysOnlyASessionStillWaitingForItsId) {
    QMVeyraKit::endAVPlayerMonitoring();  // no plugin: nothing happens
    QMVeyraKit::pluginWithAVPlayer(avPlayer, "A-1", "C-1", std::nullopt, "N", "V", std::nullopt,
                                   std::nullopt);
    auto waiting = av();
    QMVeyraKit::endAVPlayerMonitoring();
    EXPECT_EQ(waiting->commands, Lines{"stop"});
    EXPECT_TRUE(waiting->destroyed());

    QMVeyraKit::pluginWithAVPlayer(avPlayer, "A-1", "C-1", std::nullopt, "N", "V", std::nullopt,
                                   std::nullopt);
    auto started = av();
    runFor(1'000);
    ASSERT_TRUE(started->periodicalReporter());
    QMVeyraKit::endAVPlayerMonitoring();
    EXPECT_EQ(started->commands, Lines{"stop"});
    EXPECT_FALSE(started->destroyed());
    started->destroy();
}

}  // namespace veyrakit
