#include <gtest/gtest.h>

#include "core/QMMonitoringSessions.h"
#include "platform/avfoundation/AVPlayer.h"
#include "platform/mediaplayer/MPMoviePlayerController.h"
#include "unit/core/QMCoreTestSupport.h"
#include "veyrakit/QMVeyraKit.h"

using Lines = std::vector<std::string>;

namespace {

// What the creators saw when the facade called them.
struct Creation {
    std::optional<std::string> serverHost;
    QMPluginMetadata pluginMetadata;
    std::shared_ptr<QMVeyraPlugin> slotAtCreation;
};

class QMFacadeTest : public QMCoreTest {
protected:
    void SetUp() override {
        QMCoreTest::SetUp();
        answer("/player/init", R"({"sessionId":"S-1"})", 200, -1);
        QMMonitoringSessions::setAVPlayerPluginCreator(
            [this](const std::shared_ptr<AVPlayer>&, const auto&, const auto& serverHost, const auto&, const auto&,
                   const auto&, const auto&, const auto&, const auto&, const QMPluginMetadata& metadata) {
                return create(serverHost, metadata, QMMonitoringSessions::currentAVPlayerMonitoringSession());
            });
        QMMonitoringSessions::setMPMoviePlayerPluginCreator(
            [this](const std::shared_ptr<MPMoviePlayerController>&, const auto&, const auto& serverHost, const auto&,
                   const auto&, const auto&, const auto&, const auto&, const auto&, const QMPluginMetadata& metadata) {
                return create(serverHost, metadata, QMMonitoringSessions::currentMPMoviePlayerMonitoringSession());
            });
    }
    void TearDown() override {
        QMMonitoringSessions::setAVPlayerPluginCreator(nullptr);
        QMMonitoringSessions::setMPMoviePlayerPluginCreator(nullptr);
        QMCoreTest::TearDown();
    }

    std::shared_ptr<QMVeyraPlugin> create(const std::optional<std::string>& serverHost, const QMPluginMetadata& metadata,
                                          std::shared_ptr<QMVeyraPlugin> slot) {
        if (failWith) {
            throw QMIllegalStateException(*failWith);
        }
        creations.push_back({serverHost, metadata, std::move(slot)});
        return makeTestPlugin({.serverHost = serverHost});
    }
    static std::shared_ptr<QMTestPlugin> slotPlugin(std::shared_ptr<QMVeyraPlugin> plugin) {
        return std::dynamic_pointer_cast<QMTestPlugin>(plugin);
    }
    void createAV(const std::shared_ptr<AVPlayer>& player, std::optional<std::string> host = std::nullopt) {
        if (host) {
            QMVeyraKit::pluginWithAVPlayer(player, "A-1", host, "C-1", std::nullopt, "Name", "V-1", std::nullopt, std::nullopt);
        } else {
            QMVeyraKit::pluginWithAVPlayer(player, "A-1", "C-1", std::nullopt, "Name", "V-1", std::nullopt, std::nullopt);
        }
    }
    void createMP(const std::shared_ptr<MPMoviePlayerController>& player) {
        QMVeyraKit::pluginWithMPMoviePlayerController(player, "A-1", "C-1", std::nullopt, "Name", "V-1", std::nullopt,
                                                      std::nullopt);
    }

    std::optional<std::string> failWith;
    std::vector<Creation> creations;
    std::shared_ptr<AVPlayer> avPlayer = std::make_shared<AVPlayer>();
    std::shared_ptr<MPMoviePlayerController> mpPlayer =
        std::make_shared<MPMoviePlayerController>(QMURL::URLWithString("https://cdn.example/a.mp4"));
};

}  // namespace

TEST_F(QMFacadeTest, AVPlayerPluginIsReplacedDestroyedOrDroppedOnFailure) {
    createAV(avPlayer);
    auto first = slotPlugin(QMMonitoringSessions::currentAVPlayerMonitoringSession());
    ASSERT_TRUE(first);
    createAV(avPlayer, QMVeyraPlugin::DEFAULT_SERVER_HOST());
    EXPECT_TRUE(first->destroyed());
    ASSERT_EQ(creations.size(), 2u);
    EXPECT_FALSE(creations[1].slotAtCreation);  // emptied before the new plugin is made
    EXPECT_EQ(creations[0].serverHost, std::nullopt);
    EXPECT_EQ(creations[0].pluginMetadata, (QMPluginMetadata{{"pluginName", "iOS-AVPlayer"}}));
    runFor(0);
    const auto inits = stubs().requestsTo("/player/init");
    ASSERT_EQ(inits.size(), 2u);
    EXPECT_EQ(inits[0].url, inits[1].url);

    auto second = slotPlugin(QMMonitoringSessions::currentAVPlayerMonitoringSession());
    console.clear();
    failWith = "no item";
    createAV(avPlayer);
    EXPECT_TRUE(second->destroyed());
    EXPECT_FALSE(QMMonitoringSessions::currentAVPlayerMonitoringSession());
    EXPECT_EQ(logs().back(), "E SV can't create plugin.error:no item");

    failWith.reset();
    createAV(avPlayer);
    auto third = slotPlugin(QMMonitoringSessions::currentAVPlayerMonitoringSession());
    createAV(nullptr);
    EXPECT_TRUE(third->destroyed());
    EXPECT_FALSE(QMMonitoringSessions::currentAVPlayerMonitoringSession());
    EXPECT_EQ(creations.size(), 3u);
}

TEST_F(QMFacadeTest, MPMoviePlayerPluginIsDestroyedThenDisposedAndKeptWithoutAPlayer) {
    createMP(mpPlayer);
    auto first = slotPlugin(QMMonitoringSessions::currentMPMoviePlayerMonitoringSession());
    ASSERT_TRUE(first);
    EXPECT_EQ(creations[0].pluginMetadata, (QMPluginMetadata{{"pluginName", "iOS-MPMoviePlayerController"}}));
    console.clear();
    createMP(nullptr);
    EXPECT_EQ(logs().front(), "I T CDNSwitchingPluginManager: Destroying old plugin instance to create new one.");
    EXPECT_EQ(first->commands, Lines{"dispose after destroy"});
    EXPECT_EQ(QMMonitoringSessions::currentMPMoviePlayerMonitoringSession(), first);

    createMP(mpPlayer);
    EXPECT_EQ(creations[1].slotAtCreation, first);  // not emptied on this path
    EXPECT_EQ(first->commands, (Lines{"dispose after destroy", "dispose after destroy"}));
    EXPECT_NE(QMMonitoringSessions::currentMPMoviePlayerMonitoringSession(), first);
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
    createMP(mpPlayer);
    console.clear();
    forwardAll();
    EXPECT_TRUE(slotPlugin(QMMonitoringSessions::currentMPMoviePlayerMonitoringSession())->commands.empty());
    EXPECT_TRUE(console.lines().empty());

    createAV(avPlayer);
    console.clear();
    forwardAll();
    EXPECT_EQ(slotPlugin(QMMonitoringSessions::currentAVPlayerMonitoringSession())->commands,
              (Lines{"fullScreen", "window", "stop", "startAds", "stopAds"}));
    EXPECT_EQ(logs(), Lines{"E X Viewer wants to report a fault but there is no reporter to do that. "});
}
