#include "demo/QMDemoHost.h"

#include <utility>

QMDemoHost::QMDemoHost(std::function<void()> onScenarioFinished)
    : onScenarioFinished_(std::move(onScenarioFinished)) {}

void QMDemoHost::scenarioDidFinish() {
    if (onScenarioFinished_) onScenarioFinished_();
}
