#include <gtest/gtest.h>
#include <httplib.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <thread>

#include "core/QMObjectRepository.h"
#include "platform/QMConsole.h"
#include "platform/QMNotificationCenter.h"
#include "platform/QMRunLoop.h"
#include "platform/QMUserDefaults.h"
#include "platform/UIDevice.h"
#include "unit/core/QMCoreTestSupport.h"

namespace {

struct Received {
    std::string path, userAgent, contentType, contentLength, body;
};

// A session server on 127.0.0.1 that answers every init with `initAnswer` and every report
// with "{}", and keeps what it received.
class SessionServer {
public:
    explicit SessionServer(std::string initAnswer) {
        server_.Post("/player/init", [this, initAnswer](const httplib::Request& req, httplib::Response& res) {
            record(req);
            res.set_content(initAnswer, "application/json");
        });
        server_.Post("/player/report", [this](const httplib::Request& req, httplib::Response& res) {
            record(req);
            res.set_content("{}", "application/json");
        });
        port_ = server_.bind_to_any_port("127.0.0.1");
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    ~SessionServer() { stop(); }
    void stop() {
        server_.stop();
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    std::string base() const { return "http://127.0.0.1:" + std::to_string(port_); }
    std::vector<Received> received() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return received_;
    }

private:
    void record(const httplib::Request& req) {
        std::lock_guard<std::mutex> lock(mutex_);
        received_.push_back({req.path, req.get_header_value("User-Agent"), req.get_header_value("Content-Type"),
                             req.get_header_value("Content-Length"), req.body});
    }

    httplib::Server server_;
    int port_ = 0;
    std::thread thread_;
    mutable std::mutex mutex_;
    std::vector<Received> received_;
};

class SessionOverSockets : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/veyrakit-session-XXXXXX";
        dir_ = mkdtemp(pattern);
        setenv("VEYRAKIT_DEFAULTS_PATH", (dir_ + "/defaults.json").c_str(), 1);
        QMUserDefaults::resetStandardUserDefaults();
        UIDevice::overrideFacts("iPhone", "iOS", "17.0");
        loop = std::make_shared<QMRunLoop>();
        QMRunLoop::setMainRunLoop(loop);
    }
    void TearDown() override {
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        QMRunLoop::setMainRunLoop(nullptr);
        loop.reset();
        UIDevice::clearOverride();
        QMUserDefaults::resetStandardUserDefaults();
        unsetenv("VEYRAKIT_DEFAULTS_PATH");
        std::filesystem::remove_all(dir_);
    }

    std::shared_ptr<QMRunLoop> loop;
    QMConsole::Capture console;
    std::string dir_;
};

}  // namespace

TEST_F(SessionOverSockets, RunsFromInitThroughSeveralPeriodicalReports) {
    SessionServer server(R"({"sessionId":"S-9","intervalSeconds":1000,"offerViewerId":"V-77"})");
    auto plugin = makeTestPlugin({.serverHost = server.base()});
    plugin->onPlayerStart();
    ASSERT_TRUE(loop->runUntil([&] { return server.received().size() >= 5; }, 10'000));
    plugin->destroy();

    const auto got = server.received();
    const std::string init = got[0].body;
    EXPECT_EQ(got[0].path, "/player/init");
    EXPECT_EQ(got[0].userAgent, "iosApp/5.0 (iPhone; CPU iOS 17.0 like Mac OS X)");
    EXPECT_EQ(got[0].contentType, "application/json");
    EXPECT_EQ(got[0].contentLength, std::to_string(init.size()));
    EXPECT_EQ(init.substr(0, 40), R"({"assetId":"A-1","qmrCID":"C-1","assetNa)");
    EXPECT_EQ(got[1].body, R"({"sessionId":"S-9","type":"S","pulseNumber":1})");
    for (int i = 2; i < 5; ++i) {
        EXPECT_EQ(got[i].path, "/player/report");
        EXPECT_EQ(got[i].body, R"({"type":"P","sessionId":"S-9","periodicalNumber":)" + std::to_string(i - 1) +
                                   R"(,"pulseNumber":)" + std::to_string(i) + "}");
    }
    EXPECT_EQ(QMUserDefaults::standardUserDefaults()->stringForKey("viewerId"), "V-77");
    const auto lines = loggedLines(console);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "I SV Start peroidical timer, interval:  1"), lines.end());
    EXPECT_EQ(lines.back(), "I T P timer disposed");
}

TEST_F(SessionOverSockets, AServerThatIsDownGetsFourAttemptsThenTheDestroyNotification) {
    SessionServer server("{}");
    const std::string base = server.base();
    server.stop();  // the port is now closed: every connection is refused

    int posted = 0;
    int token = 0;
    QMNotificationCenter::defaultCenter()->addObserver(&token, "destroy", nullptr, [&](const QMNotification&) { ++posted; });
    auto plugin = makeTestPlugin({.serverHost = base});
    ASSERT_TRUE(loop->runUntil([&] { return posted > 0; }, 10'000));
    QMNotificationCenter::defaultCenter()->removeObserver(&token);

    EXPECT_EQ(plugin->playerIdFetchRetryCount(), 3);
    EXPECT_FALSE(plugin->sessionId());
    const auto lines = loggedLines(console);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "I IR get session id from server - didFailWithError:QMVeyraPlugin"), 3);
    EXPECT_EQ(lines.back(), "E X Cannot connect to server.");
}
