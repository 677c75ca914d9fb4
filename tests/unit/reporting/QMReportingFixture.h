#pragma once
// Shared by the logging and reporting tests: a plugin with an established session whose metric
// manager holds one fake metric, a scriptable report endpoint, and console-line helpers.
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "logging/QMDateQuamira.h"
#include "logging/QMLogger.h"
#include "metrics/QMMetricManager.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMPeriodicalReporter.h"
#include "support/QMTestEnvironment.h"
#include "veyrakit/VeyraKit.h"

namespace veyrakit {

class QMFakeMetric : public QMMetric {
  public:
    bool canCollectMetric() override { return true; }
    std::optional<QMJSON> calculateMetric() override { return values; }
    void afterMetricCollected() override { ++resets; }
    QMJSON values = {{"currentBitRate", 1500}, {"totalElapsedTime", "10000"}};
    int resets = 0;
};

class QMReportingTest : public QMVirtualTimeTest {
  protected:
    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        INTERVAL_LENGTH = 10;
        QMLogger::clearLog();
        QMLogger::setLogsBeforeSessionInitiated({});
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/report"), [this](const QMURLRequest&) {
            QMStubResponse answer = reportAnswers.empty() ? defaultReportAnswer : reportAnswers.front();
            if (!reportAnswers.empty()) reportAnswers.pop_front();
            return answer;
        });
    }
    void TearDown() override {
        if (plugin) plugin->destroy();
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        plugin.reset();
        QMVirtualTimeTest::TearDown();
    }

    // A plugin that got session id "S-1"; logs, queue, console and request records start empty.
    void startSession() {
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"),
                        QMStubResponse::json(R"({"sessionId":"S-1","intervalSeconds":10000})"), 1);
        plugin = std::make_shared<QMVeyraPlugin>();
        plugin->initWithParams(QMURL::URLWithString("http://media.test/movie.m3u8"), "HLS", "asset-1",
                               "http://collector.test", "cid-1", std::nullopt, "Movie", "viewer-1",
                               std::nullopt, std::nullopt, std::nullopt);
        runFor(0);
        ASSERT_EQ(plugin->sessionId(), std::optional<std::string>("S-1"));
        auto manager = std::make_shared<QMMetricManager>();
        manager->insertMetric(QMMetricManager::BITRATE_METRIC_KEY, metric);
        plugin->setMetricManager(manager);
        QMLogger::setLogsBeforeSessionInitiated({});
        QMLogger::clearLog();
        console.clear();
        stubs().clearRequests();
    }

    std::vector<QMRecordedRequest> reports() { return stubs().requestsTo("/player/report"); }
    std::string bodyAt(std::size_t i) { return reports().at(i).body.value_or(""); }
    QMJSON jsonAt(std::size_t i) {
        return QMJSONSerialization::JSONObjectWithData(bodyAt(i)).value_or(QMJSON());
    }

    // One logger call's console line, made now: "<level> <prefix>\t{<message>}{<date>}".
    std::string line(const std::string& level, const std::string& prefix, const std::string& message) const {
        return level + " " + prefix + "\t{" + message + "}{" + nowText() + "}";
    }
    std::string nowText() const { return QMDateQuamira::toString(*QMDate::date()); }
    std::vector<std::string> linesStartingWith(const std::string& head) const {
        std::vector<std::string> found;
        for (const auto& text : console.lines()) {
            if (text.rfind(head, 0) == 0) found.push_back(text);
        }
        return found;
    }

    std::shared_ptr<QMVeyraPlugin> plugin;
    std::shared_ptr<QMFakeMetric> metric = std::make_shared<QMFakeMetric>();
    std::deque<QMStubResponse> reportAnswers;
    QMStubResponse defaultReportAnswer = QMStubResponse::json("{}");
};

}  // namespace veyrakit
