#include <gtest/gtest.h>

#include "metrics/QMMetricManager.h"
#include "players/avplayer/QMAVPlayerBitrateMetric.h"
#include "players/avplayer/QMAVPlayerBufferingMetric.h"
#include "players/avplayer/QMAVPlayerFullScreenMetric.h"
#include "players/avplayer/QMAVPlayerPlaybackMetric.h"
#include "players/avplayer/QMAVPlayerViewingTimeMetric.h"
#include "unit/avplayer/QMAVPlayerSessionTest.h"
#include "veyrakit/platform/avfoundation/AVAsset.h"

namespace veyrakit {

namespace {

using Values = std::vector<std::string>;

std::string converted(const std::optional<QMCustomMetadataArray>& metadata) {
    auto json = QMAVPlayerVeyraPlugin::convertMetadataKeyPairToSerializable(metadata);
    return json ? QMJSONSerialization::dataWithJSONObject(*json) : "<nothing>";
}

std::shared_ptr<QMCustomMetadata> md(std::optional<std::string> key, std::optional<Values> values) {
    return std::make_shared<QMCustomMetadata>(std::move(key), std::move(values));
}

class QMAVPlayerPluginTest : public QMAVPlayerSessionTest {
  protected:
    void SetUp() override {
        QMAVPlayerSessionTest::SetUp();
        answerSession(0);
        monitor(player);
    }
};

}  // namespace

TEST(QMAVPlayerPluginValues, MetadataSkipsElementsWithoutKeyOrValuesAndIsNothingWhenEmpty) {
    EXPECT_EQ(
        converted(QMCustomMetadataArray{md(std::nullopt, Values{"x"}), nullptr, md("genre", Values{"a", "b"}),
                                        md("tags", std::nullopt), md("empty", Values{})}),
        R"([{"key":"genre","values":["a","b"]},{"key":"empty","values":[]}])");
    EXPECT_EQ(converted(QMCustomMetadataArray{md(std::nullopt, Values{"x"})}), "<nothing>");
    EXPECT_EQ(converted(QMCustomMetadataArray{}), "<nothing>");
    EXPECT_EQ(converted(std::nullopt), "<nothing>");
}

TEST_F(QMAVPlayerPluginTest, FacadeContainsCreationFailuresAndRefusesNoPlayer) {
    auto notURL =
        AVPlayer::playerWithPlayerItem(AVPlayerItem::playerItemWithAsset(std::make_shared<AVAsset>()));
    QMVeyraKit::pluginWithAVPlayer(notURL, "A-1", "C-1", std::nullopt, "Name", "V-1", std::nullopt,
                                   std::nullopt);
    EXPECT_FALSE(QMMonitoringSessions::currentAVPlayerMonitoringSession());
    EXPECT_EQ(logs().back(),
              "E SV can't create plugin.error:*** -[NSMutableString appendString:]: nil argument");
    QMVeyraKit::pluginWithAVPlayer(nullptr, "A-1", "C-1", std::nullopt, "Name", "V-1", std::nullopt,
                                   std::nullopt);
    EXPECT_FALSE(QMMonitoringSessions::currentAVPlayerMonitoringSession());
    leavesBehind(timers(2) + observations(16) + notificationObservers(12),
                 "the diagnostic reporters of the failed creation and of the plugin it replaced run on: "
                 "no stopPlayback reaches them");
}

TEST_F(QMAVPlayerPluginTest, RateAboveZeroStartsAndOnlyAnEndAtRateZeroStops) {
    auto session = plugin();
    player->setRate(0.5f);
    EXPECT_FALSE(session->stopped());
    EXPECT_TRUE(session->WaitingForSessionInit());
    ASSERT_TRUE(session->metricManager());
    player->setRate(0.0f);
    player->setRate(1.0f);
    player->currentItem()->postDidPlayToEndTime();
    EXPECT_FALSE(session->stopped());
    player->setRate(0.0f);
    player->currentItem()->postDidPlayToEndTime();
    EXPECT_TRUE(session->stopped());
}

TEST_F(QMAVPlayerPluginTest, AdsPauseBufferingViewingBitrateAndPlaybackOnlySizeGoesToFullScreen) {
    QMVeyraKit::startAds();  // no metric manager yet: nothing happens
    player->play();
    auto buffering = metric<QMAVPlayerBufferingMetric>(0);
    auto bitrate = metric<QMAVPlayerBitrateMetric>(1);
    auto playback = metric<QMAVPlayerPlaybackMetric>(2);
    auto viewing = metric<QMAVPlayerViewingTimeMetric>(3);
    auto active = [&] {
        return std::vector<bool>{buffering->isActive(), viewing->isActive(), bitrate->isActive(),
                                 playback->isActive()};
    };
    EXPECT_EQ(active(), std::vector<bool>(4, true));
    QMVeyraKit::startAds();
    QMVeyraKit::sizeChangedToFullScreen();
    EXPECT_EQ(active(), std::vector<bool>(4, false));
    EXPECT_TRUE(metric<QMAVPlayerFullScreenMetric>(4)->isFullScreen());
    QMVeyraKit::stopAds();
    QMVeyraKit::sizeChangedToWindow();
    EXPECT_EQ(active(), std::vector<bool>(4, true));
    EXPECT_FALSE(metric<QMAVPlayerFullScreenMetric>(4)->isFullScreen());
}

TEST_F(QMAVPlayerPluginTest, DestroyNotificationDisposesOnceAndLeavesNothingObserving) {
    player->play();
    runFor(1'000);
    std::vector<std::weak_ptr<QMObject>> parts{plugin()->metricManager(), plugin()->eventManager(),
                                               plugin()->eventManager()->handlers().at(0)};
    QMNotificationCenter::defaultCenter()->postNotificationName("destroy", nullptr);
    plugin()->dispose();
    plugin()->destroy();
    EXPECT_TRUE(plugin()->disposed() && plugin()->destroyed());
    EXPECT_EQ(count("I SV Disposing avplayerveyraplugin"), 1);
    EXPECT_EQ(count("I T Disposing all parts"), 1);
    for (const auto& part : parts) {
        EXPECT_TRUE(part.expired());
    }
    stopTheRunningReporter(player);
    expectNothingLeft(player);
    player->pause();
    player->play();  // no longer observed: no revival
    EXPECT_FALSE(plugin()->metricManager());
}

}  // namespace veyrakit
