#pragma once
#include <memory>

#include "demo/QMDemoMediaPlayback.h"
#include "veyrakit/gstreamer/QMGStreamerDriver.h"

namespace veyrakit {

// Real media played by the GStreamer backend, whatever the player model: the kind makes its player
// and the monitoring plugin for it, then the backend's driver for that player, then plays; the
// driver says when the media is over and why it failed. Each kind's destructor calls finish(),
// while its own hooks can still be reached.
class QMDemoGStreamerMediaPlayback : public QMDemoMediaPlayback {
  public:
    void start(const Settings& settings) final;
    bool mediaOver() const final;
    std::shared_ptr<QMError> failure() const final;
    void finish() final;

  protected:
    // Makes the player for `settings.mediaURL` and the monitoring plugin for it.
    virtual void monitor(const Settings& settings) = 0;
    // The backend's driver for the player; throws std::runtime_error when it cannot start.
    virtual std::shared_ptr<QMGStreamerDriver> drive() = 0;
    virtual void play() = 0;
    // Lets go of the kind's plugin in the facade, once the driver has stopped.
    virtual void letGoOfSession() = 0;

    const std::shared_ptr<QMGStreamerDriver>& driver() const { return driver_; }
    // The driver still plays the media.
    bool playing() const { return driver_ && !driver_->isOver(); }

  private:
    std::shared_ptr<QMGStreamerDriver> driver_;
};

}  // namespace veyrakit
