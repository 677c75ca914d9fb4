#include "demo/QMDemoHost.h"

#include <utility>

namespace veyrakit {

QMDemoHost::QMDemoHost(std::function<void()> onScenarioFinished)
    : onScenarioFinished_(std::move(onScenarioFinished)) {}

void QMDemoHost::scenarioDidFinish() {
    if (onScenarioFinished_) onScenarioFinished_();
}

}  // namespace veyrakit
