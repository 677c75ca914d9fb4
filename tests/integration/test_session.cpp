#include <gtest/gtest.h>
#include <httplib.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <thread>

#include "platform/QMUserDefaults.h"
#include "platform/UIDevice.h"
#include "support/QMConsoleCapture.h"
#include "support/QMDefaultPortGuard.h"
#include "support/QMLeftoverCheckedTest.h"
#include "unit/core/QMCoreTestSupport.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

namespace {

// Real loop, real libcurl, and a session server on 127.0.0.1 that keeps what it received.
class SessionOverSockets : public QMLeftoverCheckedTest {
  protected:
    void SetUp() override {
        QMLeftoverCheckedTest::SetUp();
        char pattern[] = "/tmp/veyrakit-session-XXXXXX";
        dir = mkdtemp(pattern);
        setenv("VEYRAKIT_DEFAULTS_PATH", (dir + "/defaults.json").c_str(), 1);
        QMUserDefaults::resetStandardUserDefaults();
        UIDevice::overrideFacts("iPhone", "iOS", "17.0");
        QMRunLoop::setMainRunLoop(loop);
        server.Post(R"(/player/(init|report))", [this](const httplib::Request& req, httplib::Response& res) {
            std::lock_guard<std::mutex> lock(mutex);
            received.push_back(req);
            res.set_content(req.path == "/player/init" ? initAnswer : "{}", "application/json");
        });
        base = "http://127.0.0.1:" + std::to_string(server.bind_to_any_port("127.0.0.1"));
        thread = std::thread([this] { server.listen_after_bind(); });
        while (!server.is_running()) {
            std::this_thread::yield();
        }
    }
    void TearDown() override {
        expectNothingLeftBehind({loop.get()});
        stopServer();
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        QMRunLoop::setMainRunLoop(nullptr);
        UIDevice::clearOverride();
        unsetenv("VEYRAKIT_DEFAULTS_PATH");
        QMUserDefaults::resetStandardUserDefaults();
        std::filesystem::remove_all(dir);
    }
    void stopServer() {
        server.stop();
        if (thread.joinable()) {
            thread.join();
        }
    }
    std::size_t count() {
        std::lock_guard<std::mutex> lock(mutex);
        return received.size();
    }

    std::shared_ptr<QMRunLoop> loop = QMDefaultPortGuard::guardedLoop();
    QMConsoleCapture console;
    httplib::Server server;
    std::thread thread;
    std::mutex mutex;
    std::vector<httplib::Request> received;
    std::string initAnswer = R"({"sessionId":"S-9","intervalSeconds":1000,"offerViewerId":"V-77"})";
    std::string base, dir;
};

}  // namespace

TEST_F(SessionOverSockets, RunsFromInitThroughSeveralPeriodicalReports) {
    auto plugin = makeTestPlugin({.serverHost = base});
    plugin->onPlayerStart();
    ASSERT_TRUE(loop->runUntil([&] { return count() >= 5; }, 10'000));
    plugin->destroy();
    // The answer to the last report is still on its way; the host's loop goes on and takes it.
    ASSERT_TRUE(loop->runUntil([&] { return loop->transferCount() == 0; }, 10'000));
    stopServer();

    const auto& init = received[0];
    EXPECT_EQ(init.path, "/player/init");
    EXPECT_EQ(init.get_header_value("User-Agent"), "iosApp/5.0 (iPhone; CPU iOS 17.0 like Mac OS X)");
    EXPECT_EQ(init.get_header_value("Content-Length"), std::to_string(init.body.size()));
    EXPECT_EQ(QMJSON::parse(init.body)["mediaUrl"], "https://cdn.example/v/index.m3u8");
    EXPECT_EQ(received[1].body, R"({"sessionId":"S-9","type":"S","pulseNumber":1})");
    for (int i = 2; i < 5; ++i) {
        EXPECT_EQ(received[i].body, R"({"type":"P","sessionId":"S-9","periodicalNumber":)" +
                                        std::to_string(i - 1) + R"(,"pulseNumber":)" + std::to_string(i) +
                                        "}");
    }
    EXPECT_EQ(QMUserDefaults::standardUserDefaults()->stringForKey("viewerId"), "V-77");
    const auto lines = loggedLines(console);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "I SV Start peroidical timer, interval:  1"),
              lines.end());
    EXPECT_EQ(lines.back(), "I T P timer disposed");
}

TEST_F(SessionOverSockets, AServerThatIsDownGetsFourAttemptsThenTheDestroyNotification) {
    stopServer();  // every connection to the port is now refused
    int posted = 0;
    QMNotificationCenter::defaultCenter()->addObserver(this, "destroy", nullptr,
                                                       [&](const QMNotification&) { ++posted; });
    auto plugin = makeTestPlugin({.serverHost = base});
    ASSERT_TRUE(loop->runUntil([&] { return posted > 0; }, 10'000));
    QMNotificationCenter::defaultCenter()->removeObserver(this);

    EXPECT_EQ(plugin->playerIdFetchRetryCount(), 3);
    const auto lines = loggedLines(console);
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         "I IR get session id from server - didFailWithError:QMVeyraPlugin"),
              3);
    EXPECT_EQ(lines.back(), "E X Cannot connect to server.");
}

}  // namespace veyrakit
