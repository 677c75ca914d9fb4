#include "simulator/QMSimulatorHost.h"

namespace veyrakit {

QMSimulatorHost::QMSimulatorHost() = default;

QMSimulatorHost::~QMSimulatorHost() = default;

void QMSimulatorHost::startAds() {}

void QMSimulatorHost::stopAds() {}

void QMSimulatorHost::sizeChangedToFullScreen() {}

void QMSimulatorHost::sizeChangedToWindow() {}

void QMSimulatorHost::stopPlayback() {}

void QMSimulatorHost::viewerFaultReport(const std::string& errorCode, const std::string& playerVersion) {}

void QMSimulatorHost::scenarioDidFinish() {}

}  // namespace veyrakit
