#pragma once
#include <string>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// What the application around a simulated player does at the scenario's host steps: the demo
// and the tests route these calls to the monitoring facade. Every call does nothing by default.
class QMSimulatorHost : public QMObject {
  public:
    QMSimulatorHost();
    ~QMSimulatorHost() override;

    virtual void startAds();
    virtual void stopAds();
    virtual void sizeChangedToFullScreen();
    virtual void sizeChangedToWindow();
    virtual void stopPlayback();
    virtual void viewerFaultReport(const std::string& errorCode, const std::string& playerVersion);
    // The scenario has nothing more to do: every step has run and the playback will not change
    // by itself any more (it is over, paused, or a live stream after its last step).
    virtual void scenarioDidFinish();
};

}  // namespace veyrakit
