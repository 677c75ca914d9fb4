#include <gtest/gtest.h>

#include "players/avplayer/QMAVPlayerBitrateMetric.h"
#include "unit/avplayer/QMAVPlayerSessionTest.h"

namespace veyrakit {

namespace {

// The player plays from the start; the session id arrives after 1 s, periodical reports follow
// every 10 s from then on.
class QMBitrateMetricTest : public QMAVPlayerSessionTest {
  protected:
    void SetUp() override {
        QMAVPlayerSessionTest::SetUp();
        answerSession(1'000);
        monitor(player);
        player->play();
        bitrate = metric<QMAVPlayerBitrateMetric>(1);
    }
    void TearDown() override {
        // The metric's notification registration lasts as long as the metric: let go of it.
        bitrate.reset();
        QMAVPlayerSessionTest::TearDown();
    }
    void entry(double indicatedBitrate) {
        auto event = std::make_shared<AVPlayerItemAccessLogEvent>();
        event->setIndicatedBitrate(indicatedBitrate);
        player->currentItem()->addAccessLogEvent(event);
    }
    // "periodicalNumber:currentBitRate" of every periodical report ("-" when it has none).
    std::vector<std::string> periodicals() {
        std::vector<std::string> out;
        for (const auto& r : reports()) {
            if (r["type"] == "P") {
                out.push_back(r["periodicalNumber"].dump() + ":" +
                              r.value("currentBitRate", QMJSON("-")).dump());
            }
        }
        return out;
    }
    std::shared_ptr<QMAVPlayerBitrateMetric> bitrate;
};

}  // namespace

TEST_F(QMBitrateMetricTest, EveryEntryAfterTheFirstForcesAReportCarryingTheEndedPeriodsBitrate) {
    EXPECT_FALSE(bitrate->calculateMetric());  // no access log yet
    runFor(1'000);
    entry(800000.9);
    EXPECT_EQ(periodicals(), (std::vector<std::string>{R"(1:"-")"}));
    runFor(10'000);
    entry(1500000);
    entry(1500000);  // the same bitrate again still ends a period
    runFor(10'000);
    EXPECT_EQ(periodicals(),
              (std::vector<std::string>{R"(1:"-")", "2:800000", "3:800000", "4:1500000", "5:1500000"}));
    EXPECT_EQ(bitrate->lastBitRate(), 1500000);
    EXPECT_TRUE(reports().back()["currentBitRate"].is_number_integer());
}

TEST_F(QMBitrateMetricTest, UnknownBitrateContributesAnEmptyValueSet) {
    leavesBehind(tasks(1), "the session answer, 1 s away, is still on its way when the test ends");
    entry(-1);
    EXPECT_EQ(bitrate->currentBitRate(), -1);
    EXPECT_EQ(bitrate->calculateMetric().value().dump(), "{}");
}

TEST_F(QMBitrateMetricTest, HeldReportsGoOutOnceInTheOrderTheMetricsWereMadeWhenTheIdArrives) {
    bitrate->onAvailableBitratesReady(QMJSON::array({400000, 800000, 1500000}));
    const auto& item = player->currentItem();
    item->setDuration(CMTimeMake(1805, 10));
    item->setDuration(CMTimeMake(60, 1));  // the duration is reported once
    item->setPlaybackBufferEmpty(false);
    item->setPlaybackLikelyToKeepUp(true);
    EXPECT_TRUE(bodies("/player/report").empty());
    runFor(1'000);
    const auto sent = bodies("/player/report");
    ASSERT_EQ(sent.size(), 5u);
    EXPECT_EQ(sent[0],
              R"({"sessionId":"S-1","type":"B","bitrates":[400000,800000,1500000],"pulseNumber":1})");
    EXPECT_EQ(sent[1], R"({"sessionId":"S-1","type":"J","joinTime":0,"pulseNumber":2})");
    EXPECT_EQ(sent[2], R"({"sessionId":"S-1","type":"D","duration":"180","pulseNumber":3})");
    EXPECT_EQ(reports()[3]["type"], "S");
    EXPECT_EQ(reports()[4]["assetDuration"], "180");
    EXPECT_EQ(count("I B BRs:'[400000, 800000, 1500000, ]', "), 1);
    EXPECT_EQ(count("I BR ") + count("I JR ") + count("I DR "), 3);
}

}  // namespace veyrakit
