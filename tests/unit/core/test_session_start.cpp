#include <gtest/gtest.h>

#include "core/QMVeyraPlugin.h"
#include "platform/QMFileManager.h"
#include "platform/QMJSON.h"
#include "platform/QMUserDefaults.h"
#include "reporting/QMPeriodicalReporter.h"
#include "unit/core/QMCoreTestSupport.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

using Lines = std::vector<std::string>;
using Times = std::vector<int64_t>;

namespace {
const std::string kSession = R"({"sessionId":"S-1","intervalSeconds":10000,"skipReports":0})";

std::string periodical(int number, int pulse) {
    return R"({"type":"P","sessionId":"S-1","periodicalNumber":)" + std::to_string(number) +
           R"(,"pulseNumber":)" + std::to_string(pulse) + "}";
}
}  // namespace

TEST_F(QMCoreTest, APlayerWaitingForTheIdStartsTheSessionThenReportsPeriodically) {
    answer("/player/init", kSession);
    answer("/player/report", "{}", 200, -1);
    auto plugin = makeTestPlugin();
    plugin->onPlayerStart();
    EXPECT_TRUE(plugin->WaitingForSessionInit());
    runFor(25'000);

    EXPECT_FALSE(plugin->WaitingForSessionInit());
    EXPECT_EQ(INTERVAL_LENGTH, 10);
    EXPECT_EQ(bodies("/player/report"), (Lines{R"({"sessionId":"S-1","type":"S","pulseNumber":1})",
                                               periodical(1, 2), periodical(2, 3), periodical(3, 4)}));
    EXPECT_EQ(times("/player/report"), (Times{0, 0, 10'000, 20'000}));
    const auto lines = logs();
    EXPECT_EQ(Lines(lines.begin() + 2, lines.begin() + 9),
              (Lines{"I T log queue size:0", "I IR skipReports: 0, sessionId: 'S-1'", "I S ", "I SR ",
                     "I P PRD:'1', PLS:'2', ", "I SV Start peroidical timer, interval:  10",
                     "I PR SkipReports: 0"}));
    plugin->destroy();  // the host ends the session
}

TEST_F(QMCoreTest, AnIdBeforeThePlayerStartsWaitsForItAndEachRestartSendsSessionStartAndStartsAnotherTimer) {
    answer("/player/init", R"({"sessionId":"S-1","intervalSeconds":10000})");
    answer("/player/report", "{}", 200, -1);
    auto plugin = makeTestPlugin();
    runFor(5'000);
    EXPECT_EQ(plugin->sessionId(), "S-1");
    EXPECT_TRUE(bodies("/player/report").empty());
    EXPECT_EQ(logs().at(3), "I IR skipReports: , sessionId: 'S-1'");

    plugin->onPlayerStart();
    runFor(0);
    plugin->onPlayerStop();
    plugin->onPlayerStart();
    runFor(0);
    EXPECT_EQ(plugin->metricManagers.size(), 1u);
    EXPECT_EQ(times("/player/report"), (Times{5'000, 5'000, 5'000, 5'000}));
    EXPECT_EQ(bodies("/player/report").at(2), R"({"sessionId":"S-1","type":"S","pulseNumber":3})");

    // The restart started the periodical reporter again: its start replaced the timer without
    // invalidating the first one, whose run loop keeps it. Both fire every 10 s from 5 s;
    // the destroy stops only the second, and the first goes on reporting from the disposed
    // reporter it holds, without metric values and with its answers ignored.
    std::weak_ptr<QMPeriodicalReporter> reporter = plugin->periodicalReporter();
    runFor(10'000);
    plugin->destroy();
    console.clear();
    runFor(20'000);
    EXPECT_EQ(times("/player/report"), (Times{5'000, 5'000, 5'000, 5'000, 15'000, 15'000, 25'000, 35'000}));
    const auto sent = bodies("/player/report");
    EXPECT_EQ(Lines(sent.begin() + 4, sent.end()),
              (Lines{periodical(3, 5), periodical(4, 6), periodical(5, 7), periodical(6, 8)}));
    EXPECT_EQ(logs(), (Lines{"I P PRD:'5', PLS:'7', ", "I P PRD:'6', PLS:'8', "}));
    EXPECT_FALSE(reporter.expired());
    leavesBehind(timers(1),
                 "the periodical reporter's first timer: a second start replaces it without invalidating "
                 "it, so nothing the host can reach stops it; it fires until its run loop goes away");
}

TEST_F(QMCoreTest, ResponseSetsIntervalLogSwitchesAndTheOfferedViewerId) {
    struct Case {
        std::string response;
        int32_t interval, queueSize;
        bool logReporter;
        std::string storedViewerId;
    };
    const std::vector<Case> cases = {
        {R"({"sessionId":"S","intervalSeconds":10000,"offerViewerId":"V-9"})", 10, 0, false, "V-9"},
        {R"({"sessionId":"S","intervalSeconds":999,"sendLog":true,"offerViewerId":null})", 0, 0, false,
         "OLD"},
        {R"({"sessionId":"S","logQueueSize":3,"sendLog":true,"offerViewerId":"null"})", 0, 3, true, "OLD"},
        {R"({"sessionId":"S","intervalSeconds":-1999,"logQueueSize":"7","sendLog":false})", -1, 7, false,
         "OLD"},
    };
    answer("/player/report", "{}", 200, -1);  // remote log reports
    for (const auto& c : cases) {
        QMUserDefaults::standardUserDefaults()->setObject("OLD", "viewerId");
        answer("/player/init", c.response);
        auto plugin = makeTestPlugin();
        runFor(0);
        EXPECT_EQ(plugin->sessionId(), "S") << c.response;
        EXPECT_EQ(INTERVAL_LENGTH, c.interval) << c.response;
        EXPECT_EQ(plugin->LOQ_QUEUE_SIZE(), c.queueSize) << c.response;
        EXPECT_EQ(plugin->isLogReporter(), c.logReporter) << c.response;
        EXPECT_EQ(QMUserDefaults::standardUserDefaults()->stringForKey("viewerId"), c.storedViewerId)
            << c.response;
    }
    QMUserDefaults::resetStandardUserDefaults();
    EXPECT_EQ(QMUserDefaults::standardUserDefaults()->stringForKey("viewerId"), "OLD");  // synchronised
}

TEST_F(QMCoreTest, InitAnswersNestedBeyondTheBoundAreNotJSONSoTheSessionEndsAndNothingIsStored) {
    const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    const std::string defaultsFile = tempDir() + "/defaults.json";
    answer("/player/report", "{}", 200, -1);
    for (const std::string& body : {R"({"sessionId":"S-1","offerViewerId":)" + nested(10'000) + "}",
                                    R"({"sessionId":"S-1","offerViewerId":)" + nested(100'000) + "}",
                                    R"({"sessionId":)" + nested(100'000) + ",\"offerViewerId\":\"V-9\"}"}) {
        QMUserDefaults::standardUserDefaults()->setObject("OLD", "viewerId");
        const auto stored = QMFileManager::defaultManager()->contentsAtPath(defaultsFile);
        answer("/player/init", body);
        console.clear();
        auto plugin = makeTestPlugin();
        runFor(60'000);
        // Read as an empty answer: no session id, so the plugin ends the session, as on a
        // server that answered nothing usable.
        const auto lines = logs();
        EXPECT_EQ(Lines(lines.begin() + 2, lines.end()),
                  (Lines{"I T log queue size:0", "E X sessionID is null", "I T Disposing all parts"}));
        EXPECT_TRUE(plugin->destroyed());
        EXPECT_FALSE(plugin->sessionId());
        EXPECT_EQ(QMFileManager::defaultManager()->contentsAtPath(defaultsFile), stored);
    }
    EXPECT_EQ(times("/player/init").size(), 3u);
    EXPECT_TRUE(bodies("/player/report").empty());
}

TEST_F(QMCoreTest, OfferedViewerIdsBeyondTheStoredBoundsAreLeftOutAndTheSessionGoesOn) {
    const std::string defaultsFile = tempDir() + "/defaults.json";
    const std::string longest(1022, 'v');  // 1024 bytes with its quotes
    struct Case {
        std::string offered;
        std::string line;  // logged or written to the console instead of storing
        std::string stored;
    };
    const std::vector<Case> cases = {
        {'"' + longest + '"', "", longest},
        {"\"" + longest + "v\"", "E X Offered viewer id not stored: 1025 bytes, over the bound of 1024",
         "OLD"},
        // Within the nesting bound and 1000 bytes as JSON, but half a megabyte in the file.
        {std::string(500, '[') + std::string(500, ']'),
         "User defaults at " + defaultsFile +
             " not changed: \"viewerId\" would make them 502016 bytes, over the bound of 65536",
         "OLD"},
    };
    answer("/player/report", "{}", 200, -1);
    for (const auto& c : cases) {
        QMUserDefaults::standardUserDefaults()->setObject("OLD", "viewerId");
        answer("/player/init", R"({"sessionId":"S","offerViewerId":)" + c.offered + "}");
        console.clear();
        auto plugin = makeTestPlugin();
        runFor(0);
        EXPECT_EQ(plugin->sessionId(), "S");
        const auto lines = logs();
        EXPECT_EQ(Lines(lines.begin() + 2, lines.end()),
                  c.line.empty()
                      ? (Lines{"I T log queue size:0", "I IR skipReports: , sessionId: 'S'"})
                      : (Lines{"I T log queue size:0", c.line, "I IR skipReports: , sessionId: 'S'"}));
        QMUserDefaults::resetStandardUserDefaults();  // what the next start reads from the file
        EXPECT_EQ(QMUserDefaults::standardUserDefaults()->stringForKey("viewerId"), c.stored);
        EXPECT_LE(QMFileManager::defaultManager()->contentsAtPath(defaultsFile)->size(),
                  QMUserDefaults::kMaximumFileLength);
        plugin->destroy();
    }
}

TEST_F(QMCoreTest, ThrottledInitRetriesLaterAndTheKeptBufferEndsTheSession) {
    answer("/player/init", R"({"intervalSeconds":10000,"skipReports":"2"})");
    answer("/player/init", kSession);
    auto plugin = makeTestPlugin();
    plugin->onPlayerStart();
    runFor(19'999);
    EXPECT_EQ(times("/player/init"), (Times{0}));
    runFor(1);
    EXPECT_EQ(times("/player/init"), (Times{0, 20'000}));
    EXPECT_TRUE(plugin->destroyed());
    EXPECT_FALSE(plugin->sessionId());
    const auto lines = logs();
    EXPECT_EQ(Lines(lines.begin() + 2, lines.begin() + 4),
              (Lines{"I T log queue size:0", "I IR skipReports: 2"}));
    EXPECT_EQ(lines.at(4), "I IR get session id from server - onRetryTimeReached:QMVeyraPlugin");
    EXPECT_EQ(Lines(lines.end() - 3, lines.end()),
              (Lines{"I T log queue size:0", "E X sessionID is null", "I T Disposing all parts"}));
}

TEST_F(QMCoreTest, RefusedAndBrokenInitAnswers) {
    struct Case {
        std::string response;
        long status;
        Lines tail;
        bool destroyed;
    };
    const std::vector<Case> cases = {
        {R"({"sessionId":"S","skipReports":"-1"})",
         200,
         {"I IR skipReports: -1", "I T Disposing all parts"},
         true},
        {R"({"intervalSeconds":10000})", 200, {"E X sessionID is null", "I T Disposing all parts"}, true},
        {R"({"sessionId":"S"})",
         500,
         {"E X HTTP response code non-200 received. Agent will shutdown", "I T Disposing all parts",
          "E X SessionId is obtained but reporting mechanism is destroyed. "},
         true},
        // A numeric throttle cannot be written into the log line: the answer is dropped half-read.
        {R"({"sessionId":"S","skipReports":2})",
         200,
         {"I T log queue size:0",
          "*** Caught exception 'NSInvalidArgumentException' in a run loop callback, reason: "
          "'-[NSMutableString appendString:]: argument is not a string: 2'"},
         false},
    };
    for (const auto& c : cases) {
        answer("/player/init", c.response, c.status);
        console.clear();
        auto plugin = makeTestPlugin();
        runFor(60'000);
        const auto lines = logs();
        auto first = std::find(lines.begin(), lines.end(), c.tail.front());
        ASSERT_NE(first, lines.end()) << c.response;
        EXPECT_EQ(Lines(first, std::min(lines.end(), first + static_cast<long>(c.tail.size()))), c.tail)
            << c.response;
        EXPECT_EQ(plugin->destroyed(), c.destroyed) << c.response;
        EXPECT_FALSE(plugin->sessionId()) << c.response;
    }
    EXPECT_EQ(times("/player/init").size(), cases.size());
}

TEST_F(QMCoreTest, TransportFailuresRetryAtOnceThenPostDestroy) {
    int posted = 0;
    int token = 0;
    QMNotificationCenter::defaultCenter()->addObserver(&token, "destroy", nullptr,
                                                       [&](const QMNotification&) { ++posted; });
    auto plugin = makeTestPlugin();
    runFor(1'000);
    EXPECT_EQ(times("/player/init"), (Times{0, 0, 0, 0}));
    EXPECT_EQ(posted, 1);
    EXPECT_EQ(plugin->playerIdFetchRetryCount(), 3);
    EXPECT_FALSE(plugin->destroyed());
    const auto lines = logs();
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         "I IR get session id from server - didFailWithError:QMVeyraPlugin"),
              3);
    EXPECT_EQ(lines.back(), "E X Cannot connect to server.");

    // The count is never reset: the next failure gives up at once.
    plugin->getSessionIdFromServer(true);
    runFor(0);
    EXPECT_EQ(posted, 2);
    EXPECT_TRUE(plugin->startSessionImmediately());  // only a retry clears it
    QMNotificationCenter::defaultCenter()->removeObserver(&token);
}

TEST_F(QMCoreTest, FailedSessionStartDestroysThePlugin) {
    for (long status : {0L, 500L}) {  // 0: no connection at all
        stubs().removeAllStubs();
        answer("/player/init", kSession);
        if (status != 0) {
            answer("/player/report", "{}", status);
        }
        console.clear();
        auto plugin = makeTestPlugin();
        plugin->onPlayerStart();
        runFor(30'000);
        EXPECT_TRUE(plugin->destroyed());
        EXPECT_FALSE(plugin->periodicalReporter());
        const auto lines = logs();
        const auto failed = std::find(lines.begin(), lines.end(), "E X Cannot start session.");
        ASSERT_NE(failed, lines.end());
        EXPECT_EQ(*(failed + 1), "I T Disposing all parts");
        // A refused SESSION_START still completes afterwards, with no reporter left to start.
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "I SR "), status == 0 ? 0 : 1);
    }
    EXPECT_EQ(times("/player/report").size(), 5u);  // four tries, then one refused
}

TEST_F(QMCoreTest, PeriodicalAnswersSkipReportsAndEndTheSession) {
    answer("/player/init", kSession);
    answer("/player/report", "{}");                     // SESSION_START
    answer("/player/report", R"({"skipReports":2})");   // first periodical
    answer("/player/report", R"({"skipReports":-1})");  // next one sent
    auto plugin = makeTestPlugin();
    plugin->onPlayerStart();
    runFor(45'000);
    EXPECT_EQ(bodies("/player/report"), (Lines{R"({"sessionId":"S-1","type":"S","pulseNumber":1})",
                                               periodical(1, 2), periodical(2, 3)}));
    EXPECT_EQ(times("/player/report"), (Times{0, 0, 30'000}));
    EXPECT_TRUE(plugin->destroyed());
    const auto lines = logs();
    EXPECT_EQ(Lines(lines.end() - 6, lines.end()),
              (Lines{"I T Skipping next 2", "I T Skipping next 1", "I P PRD:'2', PLS:'3', ",
                     "I PR SkipReports: -1", "I T Disposing all parts", "I T P timer disposed"}));
}

TEST_F(QMCoreTest, UnscheduledReportsRetryThreeTimesInTheSessionAndMayEndIt) {
    answer("/player/init", kSession);
    answer("/player/report", "{}", 200, 2);  // SESSION_START and the first periodical; then no server
    auto plugin = makeTestPlugin();
    plugin->onPlayerStart();
    runFor(0);
    plugin->periodicalReporter()->sendUnscheduledPeriodical(false);
    runFor(0);
    EXPECT_EQ(bodies("/player/report").size(), 6u);  // three retries of the unscheduled report
    EXPECT_EQ(bodies("/player/report").back(), periodical(2, 3));

    plugin->periodicalReporter()->sendUnscheduledPeriodical(true);
    EXPECT_TRUE(plugin->destroyed());
    runFor(60'000);
    EXPECT_EQ(bodies("/player/report").size(), 7u);
    EXPECT_EQ(bodies("/player/report").back(), periodical(3, 4));
}

TEST_F(QMCoreTest, LogsHeldBackBeforeTheSessionShipWhenTheQueueFills) {
    answer("/player/init", R"({"sessionId":"S-1","logQueueSize":3,"sendLog":true})");
    answer("/player/report", "{}", 200, -1);
    auto plugin = makeTestPlugin();
    runFor(0);
    const std::string date = "2023-11-14T22:13:20.000Z";
    auto entry = [&](const std::string& log, const std::string& prefix) {
        return QMJSON{{"date", date}, {"log", log}, {"level", "I"}, {"prefix", prefix}};
    };
    const QMJSON report = {
        {"sessionId", "S-1"},
        {"type", "L"},
        {"logArray",
         {entry("get session id from server - initWithParams", "IR"), entry(plugin->initLog(), "I"),
          entry("log queue size:3", "T"), entry("skipReports: , sessionId: 'S-1'", "IR")}},
        {"cid", {"C-1"}}};
    EXPECT_EQ(bodies("/player/report"), Lines{QMJSONSerialization::dataWithJSONObject(report)});
}

}  // namespace veyrakit
