#include <gtest/gtest.h>

#include <filesystem>

#include "simulator/QMPlayerSimulator.h"
#include "simulator/QMScenarioParser.h"
#include "support/QMTestEnvironment.h"

namespace veyrakit {

namespace {

std::string scenarioPath(const std::string& name) {
    return (std::filesystem::path(__FILE__).parent_path() / "../../../scenarios" / name).string();
}

class ExampleScenarios : public QMVirtualTimeTest {};

}  // namespace

TEST_F(ExampleScenarios, EveryExampleParsesAndFinishes) {
    const std::pair<const char*, int64_t> expected[] = {
        // name, clock time at which it finishes (ms)
        {"vod-default.scenario", 214'300},        {"live.scenario", 600'000},
        {"fail-before-start.scenario", 1'500},    {"fail-after-start.scenario", 50'000},
        {"mpmovieplayer.scenario", 100'000},      {"mpmovieplayer-stall.scenario", 101'500},
        {"mpmovieplayer-error.scenario", 52'000},
    };
    for (const auto& [name, finishMillis] : expected) {
        auto simulator = QMPlayerSimulator::simulatorWithScenario(
            QMScenarioParser::parseFile(scenarioPath(name)), nullptr);
        const int64_t start = now();
        simulator->start();
        runFor(finishMillis - 1);
        EXPECT_FALSE(simulator->isFinished()) << name;
        runFor(1);
        EXPECT_TRUE(simulator->isFinished()) << name;
        EXPECT_EQ(now() - start, finishMillis) << name;
    }
}

TEST_F(ExampleScenarios, DefaultScenarioPlaysTheWholeMediaOverSixVariantPeriods) {
    auto simulator = QMPlayerSimulator::simulatorWithScenario(
        QMScenarioParser::parseFile(scenarioPath("vod-default.scenario")), nullptr);
    simulator->start();
    runFor(4 * 60 * 1000);
    auto item = simulator->playerItem();
    EXPECT_DOUBLE_EQ(simulator->position(), 180.0);
    double watched = 0.0;
    std::vector<double> bitrates;
    for (const auto& event : item->accessLog()->events()) {
        watched += event->durationWatched();
        bitrates.push_back(event->indicatedBitrate());
    }
    EXPECT_DOUBLE_EQ(watched, 180.0);
    EXPECT_EQ(bitrates, (std::vector<double>{400000, 800000, 1500000, 3000000, 1500000, 3000000}));
    EXPECT_EQ(item->errorLog()->events().size(), 1u);
    EXPECT_EQ(item->accessLog()->events().at(0)->startupTime(), 1.8);
}

}  // namespace veyrakit
