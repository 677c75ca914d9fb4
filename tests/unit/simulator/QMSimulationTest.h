#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "QMModelRecorder.h"
#include "simulator/QMPlayerSimulator.h"
#include "support/QMTestEnvironment.h"

namespace veyrakit {

// Plays scenario text on the virtual clock with a recorder watching the simulator's player.
class QMSimulationTest : public QMVirtualTimeTest {
  protected:
    void play(const std::string& text, int64_t forMillis, std::shared_ptr<QMSimulatorHost> host = nullptr);
    void TearDown() override;

    std::shared_ptr<QMPlayerSimulator> simulator;
    std::shared_ptr<QMModelRecorder> recorder;
};

}  // namespace veyrakit
