#pragma once
#include <memory>

#include "QMGStreamerAVPlayerDriver.h"
#include "core/QMVeyraPlugin.h"
#include "demo/QMDemoMediaPlayback.h"
#include "platform/QMTimer.h"
#include "platform/avfoundation/AVPlayer.h"

// Real media with the AVPlayer model, played by the GStreamer backend: the player is made for the
// media URL, the plugin through QMVeyraKit::pluginWithAVPlayer, then the driver, then play. The
// media's end or failure ends the session by the plugin's own rules; leaving calls
// QMVeyraKit::stopPlayback, as an app leaving its player screen does.
class QMDemoAVPlayerMediaPlayback : public QMDemoMediaPlayback {
  public:
    QMDemoAVPlayerMediaPlayback() = default;
    ~QMDemoAVPlayerMediaPlayback() override;
    QMDemoAVPlayerMediaPlayback(const QMDemoAVPlayerMediaPlayback&) = delete;
    QMDemoAVPlayerMediaPlayback& operator=(const QMDemoAVPlayerMediaPlayback&) = delete;

    void start(const Settings& settings) override;
    bool mediaOver() const override;
    bool sessionEnded() const override;
    void leave() override;
    std::optional<std::string> sessionId() const override;
    void finish() override;

  private:
    static std::shared_ptr<QMVeyraPlugin> plugin();
    void endSession();

    std::shared_ptr<AVPlayer> player_;
    std::shared_ptr<QMGStreamerAVPlayerDriver> driver_;
    std::shared_ptr<QMTimer> endTimer_;
};
