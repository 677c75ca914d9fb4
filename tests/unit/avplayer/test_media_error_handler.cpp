#include <gtest/gtest.h>

#include "unit/avplayer/QMAVPlayerSessionTest.h"

namespace {

class QMMediaErrorHandlerTest : public QMAVPlayerSessionTest {
protected:
    void fail(const std::shared_ptr<AVPlayerItem>& item) {
        item->setError(std::make_shared<QMError>("AVFoundationErrorDomain", -11800, "failed"));
        item->setStatus(AVPlayerItemStatusFailed);
    }
};

}  // namespace

TEST_F(QMMediaErrorHandlerTest, FailureBeforeTheSessionIsReportedOnceTheIdArrivesThenTheSessionEnds) {
    answerSession(3'000);
    monitor(player);
    fail(player->currentItem());
    EXPECT_EQ(count("I X Media error"), 1);
    runFor(2'999);
    EXPECT_TRUE(bodies("/player/report").empty());
    runFor(60'000);
    EXPECT_EQ(bodies("/player/report"), (std::vector<std::string>{R"({"sessionId":"S-1","type":"E","pulseNumber":1})"}));
    EXPECT_TRUE(plugin()->disposed() && plugin()->destroyed());
    expectNothingLeft(player);
}

TEST_F(QMMediaErrorHandlerTest, PlayerAndItemBothFailedReportTwice) {
    answerSession(0);
    monitor(player);
    player->play();
    runFor(1'000);
    ASSERT_EQ(reports().size(), 2u);  // S and the first P
    player->setStatus(AVPlayerStatusFailed);
    fail(player->currentItem());
    const auto sent = bodies("/player/report");
    ASSERT_EQ(sent.size(), 4u);
    EXPECT_EQ(sent[2], R"({"sessionId":"S-1","type":"E","pulseNumber":3})");
    // Sent after the tear-down dropped the periodical reporter: the pulse counter reads 0.
    EXPECT_EQ(sent[3], R"({"sessionId":"S-1","type":"E","pulseNumber":1})");
    EXPECT_EQ(count("I X Media error"), 2);
    EXPECT_TRUE(plugin()->destroyed());
    expectNothingLeft(player);
}
