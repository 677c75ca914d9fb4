#pragma once
#include <string>

#include "simulator/QMSimulatorHost.h"

namespace veyrakit {

// The application around a simulated player, as a monitored host: the scenario's host steps
// become the facade's class operations (advertisements, size changes, stop, fault report), which
// reach the current AVPlayer plugin.
class QMFacadeSimulatorHost : public QMSimulatorHost {
  public:
    QMFacadeSimulatorHost();
    ~QMFacadeSimulatorHost() override;

    void startAds() override;
    void stopAds() override;
    void sizeChangedToFullScreen() override;
    void sizeChangedToWindow() override;
    void stopPlayback() override;
    void viewerFaultReport(const std::string& errorCode, const std::string& playerVersion) override;
};

}  // namespace veyrakit
