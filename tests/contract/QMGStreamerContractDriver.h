#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "contract/QMContractDriver.h"
#include "support/QMTestMediaServer.h"
#include "veyrakit/gstreamer/QMGStreamerAVPlayerDriver.h"
#include "veyrakit/gstreamer/QMGStreamerMPMoviePlayerDriver.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

// The GStreamer backend as a contract driver: eight seconds of real media (one variant of the
// test ladder, 320x180) served on loopback and played in real time on a real main loop, installed
// in place of the test's virtual one until the driver goes. The viewer's events ("play", "pause",
// "seek <s>") are the app's calls on the model at their time; "ready", "buffer-full" and
// "recover" happen by themselves; "stall" makes the medium's third segment late, so that the
// playhead runs dry at 4 s and recovers the span to "recover" later; "fail" takes the third
// segment away (each request answered 404 after half a second, so that the demuxer gives up once
// playback is under way). Other events, live media and the older stall are not a real
// pipeline's: they throw.
class QMGStreamerContractDriver : public QMContractDriver {
  public:
    ~QMGStreamerContractDriver() override;

    bool timesEveryEvent() const override { return false; }
    Facts facts() const override { return {"8", "320x180"}; }
    void load(const Media& media) override;
    std::shared_ptr<AVPlayer> avPlayer() const override { return avPlayer_; }
    std::shared_ptr<MPMoviePlayerController> mpMoviePlayer() const override { return mpMoviePlayer_; }
    void schedule(int64_t atMillis, const std::string& event) override;
    void start() override;
    void runFor(int64_t millis) override;

  private:
    void tearDown();
    void prepareMedia();
    void perform(const std::string& event);
    bool isOver() const;

    Media media_;
    std::shared_ptr<QMRunLoop> virtualLoop_;
    std::shared_ptr<QMRunLoop> realLoop_;
    std::unique_ptr<QMTestMediaServer> server_;
    std::shared_ptr<AVPlayer> avPlayer_;
    std::shared_ptr<MPMoviePlayerController> mpMoviePlayer_;
    std::shared_ptr<QMGStreamerAVPlayerDriver> avDriver_;
    std::shared_ptr<QMGStreamerMPMoviePlayerDriver> mpMoviePlayerDriver_;
    std::vector<std::pair<int64_t, std::string>> appEvents_;
    std::optional<int64_t> stallAt_;
    std::optional<int64_t> recoverAt_;
    bool fails_ = false;
};

}  // namespace veyrakit
