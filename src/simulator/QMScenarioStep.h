#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// What one scenario step does. Player steps change the player model; host steps call the
// QMSimulatorHost (and, for an AVPlayer, full-screen changes are host steps too, since that
// player has no notion of full screen).
enum class QMScenarioAction {
    Play,
    Pause,
    Rate,
    Ready,
    BufferFull,
    Seek,
    Stall,
    Recover,
    Bitrate,
    ServerError,
    Fail,
    Stop,
    FullScreen,
    Window,
    AirPlay,
    Scaling,
    AdsStart,
    AdsStop,
    StopPlayback,
    FaultReport,
};

enum class QMScenarioFailTarget { Item, Player };

enum class QMScenarioPlayerKind { AVPlayer, MPMoviePlayer };

// One step: when it runs (milliseconds after the start of the simulation), what it does and
// the arguments its action takes. Fields that an action does not use keep their defaults.
struct QMScenarioStep {
    int line = 0;  // where it was written (a timed stall's recovery: the stall's line)
    int64_t atMillis = 0;
    QMScenarioAction action = QMScenarioAction::Play;
    double rate = 0.0;    // rate
    int64_t millis = 0;   // seek: media position; stall: how long it lasts (0: until recover)
    int64_t bitrate = 0;  // bitrate
    std::optional<double> observedBitrate;  // bitrate
    long code = 0;                          // server-error: status code; fail: error code
    std::optional<std::string> domain;      // server-error, fail
    std::optional<std::string> text;        // server-error: comment; fail: localized description
    QMScenarioFailTarget failTarget = QMScenarioFailTarget::Item;
    bool on = false;            // airplay
    long mode = 0;              // scaling: an MPMovieScalingMode value
    std::string errorCode;      // fault-report
    std::string playerVersion;  // fault-report

    // Whether the step calls the host rather than changing the player. Host steps still run
    // after the playback is over.
    bool isHostStep(QMScenarioPlayerKind kind) const;

    // The keyword the scenario format uses for an action ("play", "server-error", ...).
    static const char* keyword(QMScenarioAction action);
};

}  // namespace veyrakit
