#pragma once
#include <memory>

#include "demo/QMDemoGStreamerMediaPlayback.h"
#include "veyrakit/gstreamer/QMGStreamerAVPlayerDriver.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

// Real media with the AVPlayer model, played by the GStreamer backend: the player is made for the
// media URL, the plugin through QMVeyraKit::pluginWithAVPlayer, then the driver, then play. The
// media's end or failure ends the session by the plugin's own rules; leaving calls
// QMVeyraKit::stopPlayback, as an app leaving its player screen does.
class QMDemoAVPlayerMediaPlayback : public QMDemoGStreamerMediaPlayback {
  public:
    QMDemoAVPlayerMediaPlayback() = default;
    ~QMDemoAVPlayerMediaPlayback() override;

    void leave() override;

  private:
    std::shared_ptr<QMVeyraPlugin> session() const override;
    void monitor(const Settings& settings) override;
    std::shared_ptr<QMGStreamerDriver> drive() override;
    void play() override;
    void letGoOfSession() override;

    std::shared_ptr<AVPlayer> player_;
};

}  // namespace veyrakit
