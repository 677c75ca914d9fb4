#pragma once
#include <memory>

#include "demo/QMDemoMediaPlayback.h"
#include "veyrakit/gstreamer/QMGStreamerMPMoviePlayerDriver.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// Real media with the MPMoviePlayerController model, played by the GStreamer backend: the player
// is made for the media URL, the plugin through QMVeyraKit::pluginWithMPMoviePlayerController,
// then the driver, then play. The player's finish (the media's end or failure) ends the session
// by the plugin's own rules. Leaving stops the player, as an app leaving its player screen does:
// the finish that follows ends the session (the facade's stopPlayback does not reach a movie
// player's plugin).
class QMDemoMPMoviePlayerMediaPlayback : public QMDemoMediaPlayback {
  public:
    QMDemoMPMoviePlayerMediaPlayback() = default;
    ~QMDemoMPMoviePlayerMediaPlayback() override;

    void start(const Settings& settings) override;
    bool mediaOver() const override;
    std::shared_ptr<QMError> failure() const override;
    void leave() override;
    void finish() override;

  private:
    std::shared_ptr<QMVeyraPlugin> session() const override;

    std::shared_ptr<MPMoviePlayerController> player_;
    std::shared_ptr<QMGStreamerMPMoviePlayerDriver> driver_;
};

}  // namespace veyrakit
