#pragma once
#include <memory>

#include "demo/QMDemoGStreamerMediaPlayback.h"
#include "veyrakit/gstreamer/QMGStreamerMPMoviePlayerDriver.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// Real media with the MPMoviePlayerController model, played by the GStreamer backend: the player
// is made for the media URL, the plugin through QMVeyraKit::pluginWithMPMoviePlayerController,
// then the driver, then play. The player's finish (the media's end or failure) ends the session
// by the plugin's own rules. Leaving stops the player, as an app leaving its player screen does:
// the finish that follows ends the session (the facade's stopPlayback does not reach a movie
// player's plugin).
class QMDemoMPMoviePlayerMediaPlayback : public QMDemoGStreamerMediaPlayback {
  public:
    QMDemoMPMoviePlayerMediaPlayback() = default;
    ~QMDemoMPMoviePlayerMediaPlayback() override;

    void leave() override;

  private:
    std::shared_ptr<QMVeyraPlugin> session() const override;
    void monitor(const Settings& settings) override;
    std::shared_ptr<QMGStreamerDriver> drive() override;
    void play() override;
    void letGoOfSession() override;

    std::shared_ptr<MPMoviePlayerController> player_;
};

}  // namespace veyrakit
