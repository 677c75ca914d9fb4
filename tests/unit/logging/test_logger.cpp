#include <string>
#include <vector>

#include "unit/reporting/QMReportingFixture.h"

namespace {

class QMLoggerTest : public QMReportingTest {
  protected:
    // Logs while no plugin is registered, so the entries are held back.
    void logWithoutPlugin(const std::vector<std::string>& messages) {
        auto repository = QMObjectRepository::getRepositoryInstance();
        repository->setPlugin(nullptr);
        for (const auto& message : messages) {
            QMLogger::info(message, "T");
        }
        repository->setPlugin(plugin);
    }
    void remoteLogging(bool on, int32_t queueSize) {
        plugin->setIsLogReporter(on);
        plugin->setLOQ_QUEUE_SIZE(queueSize);
    }
    QMJSON entry(const std::string& log, const std::string& level, const std::string& prefix) const {
        return {{"date", nowText()}, {"log", log}, {"level", level}, {"prefix", prefix}};
    }
    std::vector<std::string> logsIn(const QMRecordedRequest& request) const {
        std::vector<std::string> logs;
        const QMJSON body = bodyOf(request);
        for (const auto& item : body["logArray"]) {
            logs.push_back(item["log"]);
        }
        return logs;
    }
};

TEST_F(QMLoggerTest, ConsoleLineCarriesLevelPrefixMessageAndUtcDate) {
    QMLogger::info("hello", "SR");
    runFor(1234);
    QMLogger::debug("no prefix", std::nullopt);
    QMLogger::trace("t", "T");
    QMLogger::error("e", "X");

    EXPECT_EQ(console.lines(),
              (std::vector<std::string>{
                  "I SR\t{hello}{2023-11-14T22:13:20.000Z}", "D  \t{no prefix}{2023-11-14T22:13:21.234Z}",
                  "T T\t{t}{2023-11-14T22:13:21.234Z}", "E X\t{e}{2023-11-14T22:13:21.234Z}"}));
    EXPECT_EQ(QMLogger::process("m", std::nullopt), " \t{m}{2023-11-14T22:13:21.234Z}");
}

TEST_F(QMLoggerTest, DateHelpers) {
    runFor(7);
    EXPECT_EQ(QMDateQuamira::currentTimeMillis(), startMillis + 7);
    EXPECT_EQ(QMDateQuamira::toString(QMDate(0)), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(QMDateQuamira::toString(QMDate(1.5)), "1970-01-01T00:00:01.500Z");
    EXPECT_EQ(QMDateQuamira::dateFromMillis(1500)->timeIntervalSince1970(), 1.0);
    EXPECT_EQ(QMDateQuamira::dateFromMillis(-1500)->timeIntervalSince1970(), -1.0);
}

TEST_F(QMLoggerTest, EntriesBeforeAnySessionAreHeldBackWithoutBound) {
    QMLogger::error("first", "X");
    QMLogger::info("second", std::nullopt);

    const auto held = QMLogger::logsBeforeSessionInitiated();
    ASSERT_EQ(held.size(), 2u);
    EXPECT_EQ(held[0]->toJSON(), entry("first", "E", "X"));
    EXPECT_EQ(held[1]->toJSON(), (QMJSON{{"date", nowText()}, {"log", "second"}, {"level", "I"}}));
    EXPECT_TRUE(QMLogger::getStoredLogs().empty());
}

TEST_F(QMLoggerTest, HeldBackEntriesLeadTheFirstLogReportWhenTheQueueFills) {
    startSession();
    remoteLogging(true, 3);
    logWithoutPlugin({"before"});
    QMLogger::info("one", "SV");
    EXPECT_EQ(QMLogger::getStoredLogs().size(), 2u);
    EXPECT_TRUE(reports().empty());
    QMLogger::error("two", "X");
    runFor(0);

    ASSERT_EQ(reports().size(), 1u);
    QMJSON expected = {
        {"sessionId", "S-1"},
        {"type", "L"},
        {"logArray", {entry("before", "I", "T"), entry("one", "I", "SV"), entry("two", "E", "X")}},
        {"cid", {"cid-1"}}};
    EXPECT_EQ(reports()[0].body,
              std::optional<std::string>(QMJSONSerialization::dataWithJSONObject(expected)));
    EXPECT_TRUE(QMLogger::getStoredLogs().empty());
    EXPECT_TRUE(QMLogger::logsBeforeSessionInitiated().empty());

    QMLogger::info("three", "T");
    EXPECT_EQ(QMLogger::getStoredLogs().size(), 1u);
}

TEST_F(QMLoggerTest, RemoteLoggingOffDiscardsHeldBackEntries) {
    startSession();
    remoteLogging(false, 3);
    logWithoutPlugin({"a", "b"});
    ASSERT_EQ(QMLogger::logsBeforeSessionInitiated().size(), 2u);
    QMLogger::info("c", "T");
    runFor(0);

    EXPECT_TRUE(QMLogger::logsBeforeSessionInitiated().empty());
    EXPECT_TRUE(QMLogger::getStoredLogs().empty());
    EXPECT_TRUE(reports().empty());
}

TEST_F(QMLoggerTest, QueueSizeZeroSendsEveryMessageAlone) {
    startSession();
    remoteLogging(true, 0);
    QMLogger::info("a", "T");
    QMLogger::info("b", "T");
    runFor(0);

    ASSERT_EQ(reports().size(), 2u);
    EXPECT_EQ(logsIn(reports()[0]), std::vector<std::string>{"a"});
    EXPECT_EQ(logsIn(reports()[1]), std::vector<std::string>{"b"});
    EXPECT_FALSE(bodyOf(reports()[1]).contains("pulseNumber"));
    EXPECT_EQ(plugin->periodicalReporter()->pulseCounter(), 0);
}

TEST_F(QMLoggerTest, NegativeQueueSizeIsNeverReachedAndLeavesOnlyByFlush) {
    startSession();
    remoteLogging(true, -1);
    for (int i = 0; i < 5; ++i) {
        QMLogger::info("m" + std::to_string(i), "T");
    }
    runFor(0);
    EXPECT_TRUE(reports().empty());
    EXPECT_EQ(QMLogger::getStoredLogs().size(), 5u);

    QMLogger::flushLogs();
    runFor(0);
    ASSERT_EQ(reports().size(), 1u);
    EXPECT_EQ(logsIn(reports()[0]), (std::vector<std::string>{"m0", "m1", "m2", "m3", "m4"}));
    EXPECT_TRUE(QMLogger::getStoredLogs().empty());
}

TEST_F(QMLoggerTest, StartDropsTheQueueAndFlushNeedsRemoteLogging) {
    startSession();
    remoteLogging(true, 10);
    QMLogger::info("old", "T");
    QMLogger::start();
    EXPECT_TRUE(QMLogger::getStoredLogs().empty());

    QMLogger::info("kept", "T");
    plugin->setIsLogReporter(false);
    QMLogger::flushLogs();
    runFor(0);
    EXPECT_TRUE(reports().empty());
    EXPECT_EQ(QMLogger::getStoredLogs().size(), 1u);
}

}  // namespace
