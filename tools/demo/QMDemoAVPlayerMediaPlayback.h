#pragma once
#include <memory>

#include "demo/QMDemoMediaPlayback.h"
#include "veyrakit/gstreamer/QMGStreamerAVPlayerDriver.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

// Real media with the AVPlayer model, played by the GStreamer backend: the player is made for the
// media URL, the plugin through QMVeyraKit::pluginWithAVPlayer, then the driver, then play. The
// media's end or failure ends the session by the plugin's own rules; leaving calls
// QMVeyraKit::stopPlayback, as an app leaving its player screen does.
class QMDemoAVPlayerMediaPlayback : public QMDemoMediaPlayback {
  public:
    QMDemoAVPlayerMediaPlayback() = default;
    ~QMDemoAVPlayerMediaPlayback() override;

    void start(const Settings& settings) override;
    bool mediaOver() const override;
    std::shared_ptr<QMError> failure() const override;
    void leave() override;
    void finish() override;

  private:
    std::shared_ptr<QMVeyraPlugin> session() const override;

    std::shared_ptr<AVPlayer> player_;
    std::shared_ptr<QMGStreamerAVPlayerDriver> driver_;
};

}  // namespace veyrakit
