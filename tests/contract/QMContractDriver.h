#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "platform/avfoundation/AVPlayer.h"
#include "platform/mediaplayer/MPMoviePlayerController.h"

// What the contract checks need from a driver of the player models (docs/driver-contract.md):
// make the models for a medium, make playback events happen at given times, let time pass. The
// events are named as in the contract's tables: "play", "pause", "rate <r>", "ready",
// "buffer-full", "stall", "recover", "seek <seconds>", "bitrate <bps>", "server-error <status>",
// "fail", "fail player", "stop". The end of the media is not an event: the driver makes it when
// the playhead reaches the duration.
class QMContractDriver {
  public:
    enum class Kind { AVPlayer, MoviePlayer };
    // The medium: 20 s of video on demand with a two-rung ladder (800000 at 960x540 first, then
    // 1500000 at 1280x720), or the same ladder live.
    struct Media {
        Kind kind = Kind::AVPlayer;
        bool live = false;
        // The older stall of an AVPlayer, where the rate drops to 0 until the buffer recovers.
        bool rateDropsOnStall = false;
    };

    virtual ~QMContractDriver() = default;
    // Starts over with a medium; nothing happens until start(). The models are there once the
    // events are scheduled: observers attach between the last schedule() and start().
    virtual void load(const Media& media) = 0;
    virtual std::shared_ptr<AVPlayer> avPlayer() const = 0;
    virtual std::shared_ptr<MPMoviePlayerController> moviePlayer() const = 0;
    // Makes `event` happen `atMillis` after start(); events are scheduled in time order before it.
    virtual void schedule(int64_t atMillis, const std::string& event) = 0;
    virtual void start() = 0;
};
