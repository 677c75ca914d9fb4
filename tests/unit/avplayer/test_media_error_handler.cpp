#include <gtest/gtest.h>

#include "unit/avplayer/QMAVPlayerSessionTest.h"

namespace veyrakit {

namespace {

const char* const kHeader = "url https://media.veyrakit.invalid/vod/clip/master.m3u8\nduration 2:00\n";

}  // namespace

TEST_F(QMAVPlayerSessionTest, AFailureBeforeTheSessionIsReportedOnceTheIdArrivesThenTheSessionEnds) {
    answerSession(3'000);
    simulate(std::string(kHeader) + "at 0:01.500 fail item\n");
    runFor(2'999);
    EXPECT_EQ(count("I X Media error"), 1);
    EXPECT_TRUE(bodies("/player/report").empty());
    runFor(60'000);
    EXPECT_EQ(bodies("/player/report"),
              (std::vector<std::string>{R"({"sessionId":"S-1","type":"E","pulseNumber":1})"}));
    EXPECT_TRUE(plugin()->disposed() && plugin()->destroyed());
    stopTheRunningReporter(simulator->player());
    expectNothingLeft(simulator->player());
}

TEST_F(QMAVPlayerSessionTest, AFailureDuringTheSessionSendsTheErrorReportAndEndsIt) {
    answerSession(500);
    simulate(std::string(kHeader) + "at 0:00 play\nat 0:01 ready\nat 0:15 stall\nat 0:16 fail item\n");
    runFor(120'000);
    const auto sent = bodies("/player/report");
    ASSERT_EQ(sent.size(), 6u);  // S, P, D, J, P, E
    EXPECT_EQ(sent.back(), R"({"sessionId":"S-1","type":"E","pulseNumber":6})");
    EXPECT_EQ(stubs().requestsTo("/player/report").back().timeMillis - startMillis, 16'000);
    // The diagnostic reporter outlives the tear-down: its next tick posts the failure's events.
    EXPECT_EQ(stubs().requests().back().url, "http://collector.test:8082/sessionEventsHandler/sessions");
    EXPECT_EQ(stubs().requests().back().timeMillis - startMillis, 17'000);
    const auto lines = logs();
    EXPECT_EQ(Strings(lines.end() - 5, lines.end()),
              (Strings{"I X Media error", "I E ", "I SV Disposing avplayerveyraplugin",
                       "I T Disposing all parts", "I T P timer disposed"}));
    stopTheRunningReporter(simulator->player());
    expectNothingLeft(simulator->player());
}

TEST_F(QMAVPlayerSessionTest, PlayerAndItemBothFailedReportTwice) {
    answerSession(0);
    monitor(player);
    player->play();
    runFor(1'000);
    ASSERT_EQ(bodies("/player/report").size(), 2u);  // S and the first P
    player->setStatus(AVPlayerStatusFailed);
    player->currentItem()->setStatus(AVPlayerItemStatusFailed);
    const auto sent = bodies("/player/report");
    ASSERT_EQ(sent.size(), 4u);
    EXPECT_EQ(sent[2], R"({"sessionId":"S-1","type":"E","pulseNumber":3})");
    // Sent after the tear-down dropped the periodical reporter: the pulse counter reads 0.
    EXPECT_EQ(sent[3], R"({"sessionId":"S-1","type":"E","pulseNumber":1})");
    EXPECT_EQ(count("I X Media error"), 2);
    stopTheRunningReporter(player);
    expectNothingLeft(player);
}

}  // namespace veyrakit
