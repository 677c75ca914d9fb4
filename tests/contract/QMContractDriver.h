#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "veyrakit/platform/avfoundation/AVPlayer.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// What the contract checks need from a driver of the player models (docs/driver-contract.md):
// make the models for a medium, make playback events happen at given times, let time pass, and
// say which of its events it can time. The
// events are named as in the contract's tables: "play", "pause", "rate <r>", "ready",
// "buffer-full", "stall", "recover", "seek <seconds>", "bitrate <bps>", "server-error <status>",
// "fail", "fail player", "stop". The end of the media is not an event: the driver makes it when
// the playhead reaches the duration.
class QMContractDriver {
  public:
    enum class Kind { AVPlayer, MPMoviePlayer };
    // The medium: 20 s of video on demand with a two-rung ladder (800000 at 960x540 first, then
    // 1500000 at 1280x720), or the same ladder live.
    struct Media {
        Kind kind = Kind::AVPlayer;
        bool live = false;
        // The older stall of an AVPlayer, where the rate drops to 0 until the buffer recovers.
        bool rateDropsOnStall = false;
    };

    // What the medium's events show in the models: its duration and its picture, as the
    // recorder writes them ("20", "960x540").
    struct Facts {
        std::string duration;
        std::string pictureSize;
    };

    virtual ~QMContractDriver() = default;
    // Whether every event happens exactly at its scheduled time on the virtual clock. A driver of
    // a real player makes the viewer's events (play, pause, seek) on time in real time, but the
    // medium makes its own ("ready", "buffer-full", "stall", "recover", "fail") when the media
    // and the network bring them about; the contract's timed cases are for scripted drivers only.
    virtual bool timesEveryEvent() const = 0;
    virtual Facts facts() const = 0;
    // Starts over with a medium; nothing happens until start(). The models are there once the
    // events are scheduled: observers attach between the last schedule() and start().
    virtual void load(const Media& media) = 0;
    virtual std::shared_ptr<AVPlayer> avPlayer() const = 0;
    virtual std::shared_ptr<MPMoviePlayerController> mpMoviePlayer() const = 0;
    // Makes `event` happen `atMillis` after start(); events are scheduled in time order before it.
    virtual void schedule(int64_t atMillis, const std::string& event) = 0;
    virtual void start() = 0;
    // Lets `millis` pass on the driver's clock, or less when playback is over before.
    virtual void runFor(int64_t millis) = 0;
};

}  // namespace veyrakit
