#pragma once
#include <functional>

#include "simulator/QMFacadeSimulatorHost.h"

namespace veyrakit {

// The demo's application around the simulated player: host steps reach the monitoring facade;
// when the scenario has nothing more to do, the app leaves the player screen
// (`onScenarioFinished`).
class QMDemoHost : public QMFacadeSimulatorHost {
  public:
    explicit QMDemoHost(std::function<void()> onScenarioFinished);

    void scenarioDidFinish() override;

  private:
    std::function<void()> onScenarioFinished_;
};

}  // namespace veyrakit
