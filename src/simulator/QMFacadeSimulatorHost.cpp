#include "simulator/QMFacadeSimulatorHost.h"

#include "veyrakit/QMVeyraKit.h"

namespace veyrakit {

QMFacadeSimulatorHost::QMFacadeSimulatorHost() = default;
QMFacadeSimulatorHost::~QMFacadeSimulatorHost() = default;

void QMFacadeSimulatorHost::startAds() { QMVeyraKit::startAds(); }

void QMFacadeSimulatorHost::stopAds() { QMVeyraKit::stopAds(); }

void QMFacadeSimulatorHost::sizeChangedToFullScreen() { QMVeyraKit::sizeChangedToFullScreen(); }

void QMFacadeSimulatorHost::sizeChangedToWindow() { QMVeyraKit::sizeChangedToWindow(); }

void QMFacadeSimulatorHost::stopPlayback() { QMVeyraKit::stopPlayback(); }

void QMFacadeSimulatorHost::viewerFaultReport(const std::string& errorCode,
                                              const std::string& playerVersion) {
    QMVeyraKit::viewerFaultReport(errorCode, playerVersion);
}

}  // namespace veyrakit
