#pragma once
#include <cstdint>

#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

// The virtual clock, paced: before each jump to the next timer it waits (really) for the jump
// divided by the speed, so a scenario plays at N x real time while every timestamp stays on the
// virtual clock. Real I/O in flight still holds the clock, as on the plain virtual loop.
class QMPacedRunLoop : public QMVirtualRunLoop {
  public:
    QMPacedRunLoop(double speed, int64_t startMillis);
    double speed() const { return speed_; }

  protected:
    void idleUntil(int64_t wakeMicros) override;

  private:
    double speed_;
};

}  // namespace veyrakit
