#pragma once
#include <memory>

#include "QMGStreamerAVPlayerDriver.h"
#include "demo/QMDemoMediaPlayback.h"
#include "platform/avfoundation/AVPlayer.h"

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
    void leave() override;
    void finish() override;

  private:
    std::shared_ptr<QMVeyraPlugin> session() const override;

    std::shared_ptr<AVPlayer> player_;
    std::shared_ptr<QMGStreamerAVPlayerDriver> driver_;
};
