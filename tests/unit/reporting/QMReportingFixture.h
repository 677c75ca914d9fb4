#pragma once
// Shared by the logging and reporting tests: a plugin with an established session, a metric
// manager with one fake metric, a scriptable report endpoint, and console-line helpers.
#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "logging/QMDateQuamira.h"
#include "logging/QMLogger.h"
#include "metrics/QMMetric.h"
#include "metrics/QMMetricManager.h"
#include "platform/QMDate.h"
#include "platform/QMJSON.h"
#include "platform/QMURL.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMPeriodicalReporter.h"
#include "support/QMTestEnvironment.h"
#include "veyrakit/VeyraKit.h"

class QMFakeMetric : public QMMetric {
  public:
    bool canCollectMetric() override { return collectable; }
    std::optional<QMJSON> calculateMetric() override {
        ++calculated;
        return values;
    }
    void afterMetricCollected() override { ++resets; }

    bool collectable = true;
    QMJSON values = {{"currentBitRate", 1500}, {"totalElapsedTime", "10000"}};
    int calculated = 0;
    int resets = 0;
};

class QMFakeMetricManager : public QMMetricManager {
  public:
    QMFakeMetricManager() { insertMetric(BITRATE_METRIC_KEY, metric); }
    std::shared_ptr<QMFakeMetric> metric = std::make_shared<QMFakeMetric>();
};

class QMReportingTest : public QMVirtualTimeTest {
  protected:
    static constexpr const char* kServerHost = "http://collector.test";

    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        INTERVAL_LENGTH = 10;
        QMLogger::clearLog();
        QMLogger::setLogsBeforeSessionInitiated({});
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/report"), [this](const QMURLRequest&) {
            if (reportAnswers.empty()) {
                return defaultReportAnswer;
            }
            QMStubResponse answer = reportAnswers.front();
            reportAnswers.pop_front();
            return answer;
        });
    }

    void TearDown() override {
        if (plugin) {
            plugin->destroy();
        }
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        plugin.reset();
        metricManager.reset();
        runFor(1000);
        QMVirtualTimeTest::TearDown();
    }

    // A plugin whose session answer was `answer`; its held-back log lines are cleared, the
    // console and the request records start empty.
    void startSession(const QMJSON& answer = {{"sessionId", "S-1"}, {"intervalSeconds", 10000}}) {
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"),
                        QMStubResponse::json(QMJSONSerialization::dataWithJSONObject(answer)), 1);
        plugin = std::make_shared<QMVeyraPlugin>();
        plugin->initWithParams(QMURL::URLWithString("http://media.test/movie.m3u8"), "HLS", "asset-1",
                               kServerHost, "cid-1", std::nullopt, "Movie", "viewer-1", std::nullopt,
                               std::nullopt, QMPluginMetadata{{"pluginName", "test"}});
        runFor(0);
        ASSERT_EQ(plugin->sessionId(), std::optional<std::string>("S-1"));
        metricManager = std::make_shared<QMFakeMetricManager>();
        plugin->setMetricManager(metricManager);
        QMLogger::setLogsBeforeSessionInitiated({});
        QMLogger::clearLog();
        console.clear();
        stubs().clearRequests();
    }

    std::vector<QMRecordedRequest> reports() const {
        return QMURLStubRegistry::shared().requestsTo("/player/report");
    }
    static QMJSON bodyOf(const QMRecordedRequest& request) {
        return QMJSONSerialization::JSONObjectWithData(request.body.value_or("")).value_or(QMJSON());
    }

    // The console line of one logger call made now: "<level> <prefix>\t{<message>}{<date>}".
    std::string line(const std::string& level, const std::string& prefix, const std::string& message) const {
        return level + " " + prefix + "\t{" + message + "}{" + nowText() + "}";
    }
    std::string nowText() const { return QMDateQuamira::toString(*QMDate::date()); }
    // Console lines that start with `head`, in order.
    std::vector<std::string> linesStartingWith(const std::string& head) const {
        std::vector<std::string> found;
        for (const auto& text : console.lines()) {
            if (text.rfind(head, 0) == 0) {
                found.push_back(text);
            }
        }
        return found;
    }

    std::shared_ptr<QMVeyraPlugin> plugin;
    std::shared_ptr<QMFakeMetricManager> metricManager;
    std::deque<QMStubResponse> reportAnswers;
    QMStubResponse defaultReportAnswer = QMStubResponse::json("{}");
};
