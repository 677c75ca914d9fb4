#include "unit/reporting/QMReportingFixture.h"

namespace veyrakit {

namespace {

class QMLoggerTest : public QMReportingTest {
  protected:
    void SetUp() override {
        QMReportingTest::SetUp();
        startSession();
    }
    void remoteLogging(bool on, int32_t queueSize) {
        plugin->setIsLogReporter(on);
        plugin->setLOQ_QUEUE_SIZE(queueSize);
    }
    // Logged while no plugin is registered, so held back.
    void logWithoutPlugin(const std::string& message) {
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        QMLogger::info(message, "T");
        QMObjectRepository::getRepositoryInstance()->setPlugin(plugin);
    }
    QMJSON entry(const std::string& log, const std::string& level, const std::string& prefix) const {
        return {{"date", nowText()}, {"log", log}, {"level", level}, {"prefix", prefix}};
    }
};

TEST_F(QMLoggerTest, ConsoleLinesAndDateHelpers) {
    QMLogger::info("hello", "SR");
    runFor(1234);
    QMLogger::debug("no prefix", std::nullopt);
    QMLogger::error("e", "X");
    EXPECT_EQ(console.lines(), (std::vector<std::string>{"I SR\t{hello}{2023-11-14T22:13:20.000Z}",
                                                         "D  \t{no prefix}{2023-11-14T22:13:21.234Z}",
                                                         "E X\t{e}{2023-11-14T22:13:21.234Z}"}));
    EXPECT_EQ(QMDateQuamira::currentTimeMillis(), startMillis + 1234);
    EXPECT_EQ(QMDateQuamira::toString(QMDate(0)), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(QMDateQuamira::dateFromMillis(1500)->timeIntervalSince1970(), 1.0);
    EXPECT_EQ(QMDateQuamira::dateFromMillis(-1500)->timeIntervalSince1970(), -1.0);
}

TEST_F(QMLoggerTest, HeldBackEntriesLeadTheLogReportSentWhenTheQueueFills) {
    remoteLogging(true, 3);
    logWithoutPlugin("before");
    QMLogger::info("one", "SV");
    EXPECT_EQ(QMLogger::getStoredLogs().size(), 2u);
    QMLogger::error("two", "X");
    runFor(0);

    ASSERT_EQ(reports().size(), 1u);
    QMJSON expected = {
        {"sessionId", "S-1"},
        {"type", "L"},
        {"logArray", {entry("before", "I", "T"), entry("one", "I", "SV"), entry("two", "E", "X")}},
        {"cid", {"cid-1"}}};
    EXPECT_EQ(bodyAt(0), QMJSONSerialization::dataWithJSONObject(expected));
    EXPECT_TRUE(QMLogger::getStoredLogs().empty());
    EXPECT_TRUE(QMLogger::logsBeforeSessionInitiated().empty());
}

TEST_F(QMLoggerTest, RemoteLoggingOffDiscardsHeldBackEntries) {
    remoteLogging(false, 3);
    logWithoutPlugin("a");
    ASSERT_EQ(QMLogger::logsBeforeSessionInitiated().size(), 1u);
    QMLogger::info("c", "T");
    EXPECT_TRUE(QMLogger::logsBeforeSessionInitiated().empty());
    EXPECT_TRUE(QMLogger::getStoredLogs().empty());
}

TEST_F(QMLoggerTest, QueueSizeZeroSendsEachMessageNegativeSizeWaitsForFlush) {
    remoteLogging(true, 0);
    QMLogger::info("a", "T");
    runFor(0);
    ASSERT_EQ(reports().size(), 1u);
    EXPECT_EQ(jsonAt(0)["logArray"].size(), 1u);

    remoteLogging(true, -1);
    for (int i = 0; i < 5; ++i) QMLogger::info("m", "T");
    runFor(0);
    EXPECT_EQ(reports().size(), 1u);
    EXPECT_EQ(QMLogger::getStoredLogs().size(), 5u);
    QMLogger::flushLogs();
    runFor(0);
    ASSERT_EQ(reports().size(), 2u);
    EXPECT_EQ(jsonAt(1)["logArray"].size(), 5u);
    EXPECT_TRUE(QMLogger::getStoredLogs().empty());
    EXPECT_EQ(plugin->periodicalReporter()->pulseCounter(), 0);
}

}  // namespace

}  // namespace veyrakit
