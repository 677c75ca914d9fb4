#include "QMSimulationTest.h"

#include "simulator/QMScenarioParser.h"

namespace veyrakit {

void QMSimulationTest::play(const std::string& text, int64_t forMillis,
                            std::shared_ptr<QMSimulatorHost> host) {
    simulator = QMPlayerSimulator::simulatorWithScenario(QMScenarioParser::parse(text), std::move(host));
    recorder = std::make_shared<QMModelRecorder>();
    if (simulator->player()) {
        recorder->watch(simulator->player());
    } else {
        recorder->watch(simulator->mpMoviePlayer());
    }
    simulator->start();
    runFor(forMillis);
}

void QMSimulationTest::TearDown() {
    recorder.reset();
    simulator.reset();
    QMVirtualTimeTest::TearDown();
}

}  // namespace veyrakit
