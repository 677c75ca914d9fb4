#include <gtest/gtest.h>

#include "players/avplayer/QMAVPlayerPlaybackMetric.h"
#include "unit/avplayer/QMAVPlayerSessionTest.h"

namespace veyrakit {

namespace {

// The player plays from the start; the session id arrives after 5 s.
class QMPlaybackMetricTest : public QMAVPlayerSessionTest {
  protected:
    void SetUp() override {
        QMAVPlayerSessionTest::SetUp();
        answerSession(5'000);
        monitor(player);
        player->play();
        item = player->currentItem();
        playback = metric<QMAVPlayerPlaybackMetric>(2);
    }
    std::shared_ptr<AVPlayerItem> item;
    std::shared_ptr<QMAVPlayerPlaybackMetric> playback;
};

}  // namespace

TEST_F(QMPlaybackMetricTest, PlayingNeedsRateBufferAndNoError) {
    leavesBehind(tasks(1), "the session answer, 5 s away, is still on its way when the test ends");
    auto playing = [&] { return playback->calculateMetric().value()["playing"]; };
    EXPECT_EQ(playing(), 0);  // buffer still empty
    item->setPlaybackBufferEmpty(false);
    EXPECT_EQ(playing(), 1);
    EXPECT_EQ(playback->calculateMetric().value().dump(), R"({"playing":1,"assetDuration":"0"})");
    player->pause();
    EXPECT_EQ(playing(), 0);
    player->play();
    player->setError(std::make_shared<QMError>("AVFoundationErrorDomain", -11800, "failed"));
    EXPECT_EQ(playing(), 0);
}

TEST_F(QMPlaybackMetricTest, EndOfItemTwiceSendsOneLastReportAndDestroysThePlugin) {
    runFor(5'000);
    item->postDidPlayToEndTime();
    item->postDidPlayToEndTime();
    EXPECT_EQ(count("I T playback completed. Last P"), 1);
    const auto sent = reports();
    ASSERT_EQ(sent.size(), 3u);  // S, the first P, the last P
    EXPECT_EQ(sent[2]["periodicalNumber"], 2);
    EXPECT_EQ(sent[2]["playbackCompleted"], true);
    EXPECT_TRUE(plugin()->destroyed());
    runFor(60'000);
    EXPECT_EQ(reports().size(), 3u);
}

TEST_F(QMPlaybackMetricTest, EndDuringAdvertisementIsIgnoredAndAHostStopAfterItEnds) {
    runFor(5'000);
    QMVeyraKit::startAds();
    item->postDidPlayToEndTime();
    EXPECT_EQ(reports().size(), 2u);
    runFor(10'000);
    EXPECT_EQ(reports().back()["playbackCompleted"], true);  // finished, but not the last report
    EXPECT_FALSE(plugin()->destroyed());
    QMVeyraKit::stopAds();
    QMVeyraKit::stopPlayback();
    EXPECT_EQ(count("I T playback completed. Last P"), 1);
    EXPECT_EQ(reports().size(), 4u);
    EXPECT_TRUE(plugin()->destroyed());
}

}  // namespace veyrakit
