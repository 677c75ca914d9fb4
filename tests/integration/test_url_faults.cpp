#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "platform/QMURLConnection.h"
#include "platform/QMURLSession.h"
#include "support/QMDefaultPortGuard.h"
#include "support/QMFaultServer.h"
#include "support/QMLeftoverCheckedTest.h"
#include "support/QMRecordingConnectionDelegate.h"
#include "support/QMURLStubRegistry.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/QMURLLoadingLimits.h"

namespace veyrakit {

namespace {

using Reply = QMFaultServer::Reply;

// URL loading against a server that misbehaves: what bounds an answer, and what the server sees.
class URLFaultsTest : public QMLeftoverCheckedTest {
  protected:
    void SetUp() override {
        QMLeftoverCheckedTest::SetUp();
        QMURLStubRegistry::shared().disable();
        QMRunLoop::setMainRunLoop(QMDefaultPortGuard::guardedLoop());
    }
    void TearDown() override {
        expectNothingLeftBehind({QMRunLoop::mainRunLoop().get()});
        QMURLSession::sharedSession()->shutdown();
        QMRunLoop::setMainRunLoop(nullptr);
        server.stop();
        QMURLLoadingLimits::reset();
    }

    std::shared_ptr<QMRecordingConnectionDelegate> load(const std::string& path, const std::string& method) {
        auto request = QMURLRequest::requestWithURL(QMURL::URLWithString(server.url(path)));
        request->setHTTPMethod(method);
        if (method == "POST") {
            request->setHTTPBody(R"({"type":"P"})");
        }
        auto delegate = std::make_shared<QMRecordingConnectionDelegate>();
        QMURLConnection::connectionWithRequest(request, delegate);
        EXPECT_TRUE(QMRunLoop::mainRunLoop()->runUntil([&] { return delegate->done; }, 20'000));
        return delegate;
    }
    static std::string outcome(const QMRecordingConnectionDelegate& d) {
        return d.error ? "fail " + std::to_string(d.error->code())
                       : "finish " + std::to_string(d.body.size());
    }

    QMFaultServer server;
};

TEST_F(URLFaultsTest, AnAnswerLongerThanTheLimitFailsWhetherAnnouncedOrNot) {
    QMURLLoadingLimits::setMaximumResponseLength(1000);
    server.reply("GET /announced", {Reply::answer(200, std::string(1001, 'x'))});
    server.reply("GET /unannounced", {Reply::unannounced(50u << 20)});
    server.reply("GET /fits", {Reply::answer(200, std::string(1000, 'x'))});

    const auto announced = load("/announced", "GET");
    EXPECT_EQ(outcome(*announced), "fail -1103");
    EXPECT_EQ(announced->body, "");
    EXPECT_EQ(announced->error->localizedDescription(), "resource exceeds maximum size");
    const auto unannounced = load("/unannounced", "GET");
    EXPECT_EQ(outcome(*unannounced), "fail -1103");
    EXPECT_LE(unannounced->body.size(), 1000u);
    EXPECT_EQ(outcome(*load("/fits", "GET")), "finish 1000");
}

TEST_F(URLFaultsTest, TheDefaultTimeOutBoundsAWholeTrickledExchange) {
    QMURLLoadingLimits::setDefaultTimeoutInterval(0.3);
    server.reply("POST /player/report", {Reply::trickle(std::string(100, ' '), 20)});
    const auto start = std::chrono::steady_clock::now();
    const auto trickled = load("/player/report", "POST");
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(trickled->events.front().substr(0, 12), "response 200");
    EXPECT_EQ(outcome(*trickled), "fail -1001");
    EXPECT_GE(took, std::chrono::milliseconds(250));  // libcurl rounds its timer to the millisecond
    EXPECT_LT(took, std::chrono::milliseconds(1'500));
}

TEST_F(URLFaultsTest, BrokenAnswersFailAsTheConnectionLostOrABadResponse) {
    server.reply("POST /reset", {Reply::reset()});
    server.reply("POST /garbage", {Reply::garbage()});
    server.reply("POST /short", {Reply::shortBody()});
    EXPECT_EQ(outcome(*load("/reset", "POST")), "fail -1005");
    EXPECT_EQ(outcome(*load("/garbage", "POST")), "fail -1011");
    EXPECT_EQ(outcome(*load("/short", "POST")), "fail -1005");
    EXPECT_EQ(server.count("POST /reset") + server.count("POST /garbage") + server.count("POST /short"), 3);
}

// Keep-alive stays (one connection for many requests), but a POST whose reused connection dies
// before any answer fails instead of being sent again on a fresh one.
TEST_F(URLFaultsTest, APostIsNeverResentWhileAGetOnADeadKeptAliveConnectionIs) {
    server.reply("POST /player/report",
                 {Reply::answer(200, "{}"), Reply::answer(200, "{}"), Reply::closeIfReused()});
    EXPECT_EQ(outcome(*load("/player/report", "POST")), "finish 2");
    EXPECT_EQ(outcome(*load("/player/report", "POST")), "finish 2");
    EXPECT_EQ(server.connections(), 1);
    EXPECT_EQ(outcome(*load("/player/report", "POST")), "fail -1005");
    EXPECT_EQ(server.count("POST /player/report"), 3);

    server.reply("GET /vod/master.m3u8", {Reply::answer(200, "{}"), Reply::closeIfReused()});
    EXPECT_EQ(outcome(*load("/vod/master.m3u8", "GET")), "finish 2");
    EXPECT_EQ(outcome(*load("/vod/master.m3u8", "GET")), "finish 2");
    EXPECT_EQ(server.count("GET /vod/master.m3u8"), 3);  // the second load went out twice
}

}  // namespace

}  // namespace veyrakit
