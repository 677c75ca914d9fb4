#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/QMURLConnection.h"
#include "platform/QMURLSession.h"
#include "support/QMRecordingConnectionDelegate.h"
#include "support/QMTestEnvironment.h"

namespace veyrakit {

namespace {

class URLStubTest : public QMVirtualTimeTest {
  protected:
    std::string at(int64_t offsetMillis) const { return " @" + std::to_string(startMillis + offsetMillis); }

    std::shared_ptr<QMURLRequest> post(const std::string& url, const std::string& body) {
        auto request = QMURLRequest::requestWithURL(QMURL::URLWithString(url));
        request->setHTTPMethod("POST");
        request->setValue("application/json", "Content-Type");
        request->setHTTPBody(body);
        return request;
    }

    std::shared_ptr<QMRecordingConnectionDelegate> send(const std::shared_ptr<QMURLRequest>& request) {
        auto delegate = std::make_shared<QMRecordingConnectionDelegate>();
        QMURLConnection::connectionWithRequest(request, delegate);  // the loop keeps it running
        return delegate;
    }
};

TEST_F(URLStubTest, DelayedChunkedAnswerArrivesOnTheVirtualClockAndReleasesTheDelegate) {
    QMStubResponse answer;
    answer.status = 201;
    answer.chunks = {"{\"skip", "Reports\":2}"};
    answer.delayMillis = 250;
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/report", "POST"), answer);
    runFor(1'000);
    auto delegate = send(post("https://qos.example.invalid/player/report", "{\"type\":\"P\"}"));
    EXPECT_TRUE(delegate->events.empty());  // never synchronously
    runFor(249);
    EXPECT_TRUE(delegate->events.empty());
    runFor(1);
    EXPECT_EQ(delegate->events,
              (std::vector<std::string>{"response 201" + at(1'250), "data {\"skip" + at(1'250),
                                        "data Reports\":2}" + at(1'250), "finish" + at(1'250)}));
    EXPECT_EQ(delegate.use_count(), 1);  // the finished connection let its delegate go

    auto recorded = stubs().requestsTo("/player/report");
    ASSERT_EQ(recorded.size(), 1u);
    EXPECT_EQ(recorded[0].method, "POST");
    EXPECT_EQ(recorded[0].url, "https://qos.example.invalid/player/report");
    EXPECT_EQ(recorded[0].body, std::optional<std::string>("{\"type\":\"P\"}"));
    EXPECT_EQ(recorded[0].header("content-type"), std::optional<std::string>("application/json"));
    EXPECT_EQ(recorded[0].timeMillis, startMillis + 1'000);
}

TEST_F(URLStubTest, FailuresBeforeOrAfterTheResponseAndUnmatchedRequests) {
    QMStubResponse broken = QMStubResponse::json("{\"partial\":", 200);
    broken.failure = QMError::URLErrorWithCode(NSURLErrorNetworkConnectionLost);
    broken.failAfterResponse = true;
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/broken"), broken);
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/down"), QMStubResponse::fail(NSURLErrorTimedOut), 1);

    auto broke = send(post("http://h/broken", "x"));
    auto down = send(post("http://h/down", "x"));
    auto downAgain = send(post("http://h/down", "x"));  // the stub's single answer is used up
    auto unknown = send(post("http://h/elsewhere", "x"));
    runFor(0);

    EXPECT_EQ(broke->events, (std::vector<std::string>{"response 200" + at(0), "data {\"partial\":" + at(0),
                                                       "fail -1005" + at(0)}));
    EXPECT_EQ(down->events, (std::vector<std::string>{"fail -1001" + at(0)}));
    EXPECT_EQ(downAgain->events, (std::vector<std::string>{"fail -1004" + at(0)}));
    EXPECT_EQ(unknown->error->description(),
              "Error Domain=NSURLErrorDomain Code=-1004 \"Could not connect to the server.\"");
    EXPECT_EQ(stubs().requests().size(), 4u);  // matched or not, every request is recorded
}

TEST_F(URLStubTest, CancelInsideACallbackStopsDeliveryAndResponderSeesTheRequest) {
    stubs().addStub([](const QMURLRequest& r) { return r.HTTPMethod() == "PUT"; },
                    [](const QMURLRequest& r) {
                        QMStubResponse echo = QMStubResponse::json("echo:" + r.HTTPBody().value_or(""));
                        echo.chunks.push_back("more");
                        return echo;
                    });
    auto request = post("http://h/echo", "ping");
    request->setHTTPMethod("PUT");
    auto delegate = send(request);
    delegate->onEvent = [](QMURLConnection& c) { c.cancel(); };
    runFor(0);
    EXPECT_EQ(delegate->events, (std::vector<std::string>{"response 200" + at(0)}));
    EXPECT_EQ(delegate.use_count(), 1);

    auto echoed = send(request);
    runFor(0);
    EXPECT_EQ(echoed->body, "echo:pingmore");
}

TEST_F(URLStubTest, SharedSessionAnswersOnItsWorkerAfterTheDelayOnTheLoopClock) {
    QMStubResponse answer = QMStubResponse::json("{\"ok\":true}", 202);
    answer.delayMillis = 1'000;
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/veyrakit/"), answer);
    auto session = QMURLSession::sharedSession();
    const auto mainThread = std::this_thread::get_id();
    std::atomic<int> completions{0};
    std::optional<std::string> data;
    long status = 0;
    bool onWorker = false;
    session
        ->dataTaskWithRequest(
            post("http://127.0.0.1:8081/veyrakit/", "{}"),
            [&](const std::optional<std::string>& d, const std::shared_ptr<QMHTTPURLResponse>& r,
                const std::shared_ptr<QMError>& e) {
                data = d;
                status = r ? r->statusCode() : -1;
                onWorker = std::this_thread::get_id() != mainThread && !e;
                ++completions;
            })
        ->resume();
    std::shared_ptr<QMError> failure;
    std::optional<std::string> failedData = "unset";
    session
        ->dataTaskWithURL(QMURL::URLWithString("http://127.0.0.1:8082/unstubbed"),
                          [&](const std::optional<std::string>& d, const std::shared_ptr<QMHTTPURLResponse>&,
                              const std::shared_ptr<QMError>& e) {
                              failedData = d;
                              failure = e;
                              ++completions;
                          })
        ->resume();

    runFor(999);
    session->waitForIdle();
    EXPECT_EQ(completions, 1);  // the unmatched request failed at once, the stub waits for its delay
    EXPECT_EQ(failure->code(), NSURLErrorCannotConnectToHost);
    EXPECT_EQ(failedData, std::nullopt);
    runFor(1);
    session->waitForIdle();
    EXPECT_EQ(completions, 2);
    EXPECT_EQ(data, std::optional<std::string>("{\"ok\":true}"));
    EXPECT_EQ(status, 202);
    EXPECT_TRUE(onWorker);
    EXPECT_EQ(stubs().requestsTo("/veyrakit/")[0].timeMillis, startMillis);
}

TEST_F(URLStubTest, RequestIsCopiedWhenTheConnectionIsMade) {
    EXPECT_EQ(QMURL::URLWithString("not a url"), nullptr);
    auto request = post("http://h:8082/a/playlist.M3U8", "first");
    EXPECT_EQ(request->URL()->port(), std::optional<int>(8082));
    EXPECT_EQ(request->URL()->pathExtension(), "M3U8");
    request->setValue("a", "X-One");
    request->setValue("text/plain", "CONTENT-TYPE");  // same field: keeps its place and first spelling
    EXPECT_EQ(request->allHTTPHeaderFields(),
              (QMURLRequest::Headers{{"Content-Type", "text/plain"}, {"X-One", "a"}}));
    auto connection = QMURLConnection::connectionWithRequest(
        request, std::make_shared<QMRecordingConnectionDelegate>(), false);
    request->setHTTPBody("changed");
    connection->start();
    EXPECT_EQ(stubs().requests().at(0).body, std::optional<std::string>("first"));
}

TEST_F(URLStubTest, DisableClearsStubsAndRecords) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/x"), QMStubResponse::json("{}"));
    send(post("http://h/x", ""));
    stubs().disable();
    EXPECT_FALSE(stubs().isEnabled());
    EXPECT_TRUE(stubs().requests().empty());
    stubs().enable();
    auto delegate = send(post("http://h/x", ""));
    runFor(0);
    EXPECT_EQ(delegate->events, (std::vector<std::string>{"fail -1004" + at(0)}));
}

}  // namespace

}  // namespace veyrakit
