#pragma once
#include <cstdint>
#include <string>

namespace veyrakit {

enum class QMBenchPlayer { AVPlayer, MPMoviePlayer };

struct QMSessionSetup {
    QMBenchPlayer player = QMBenchPlayer::AVPlayer;
    int64_t sessionSeconds = 3600;
    int reportIntervalSeconds = 10;
    // Bitrate switches spread over each hour: each one gives the diagnostic streams events
    // (notifications, an access-log entry, key-value changes) to record and post. 0: the streams
    // have nothing to send after the start of playback.
    int diagnosticEventsPerHour = 0;
    bool loopback = false;  // real HTTP to a loopback server instead of the stub registry
};

// What one monitored session cost the SDK. CPU and allocations are the monitored run minus an
// unmonitored run of the same scenario (the simulator and the loop alone); main-loop times are
// those of every loop pass of the monitored run that did work.
struct QMSessionFigures {
    double sdkCpuMillisPerHour = 0;
    double workerCpuMillisPerHour = 0;  // of sdkCpuMillisPerHour: the URL session's worker thread
    double simulatorCpuMillisPerHour = 0;
    double reportMedianMicros = 0;  // loop passes at the instant of a periodical report, summed
    double reportP99Micros = 0;
    double passP99Micros = 0;  // single loop passes (one or more callbacks due at one instant)
    double passMaxMicros = 0;
    double allocationsPerReport = 0;    // median, in the passes at a periodical report's instant
    double allocationsPerInterval = 0;  // all of the SDK's, over the number of reports
    double heapHighWaterKiB = 0;        // above the heap in use before the plugin was made
    double heapGrowthKiB = 0;           // heap in use at the end minus at the end of the first hour
    // Of which the SDK's: minus the unmonitored run's growth (the player keeps its own logs).
    double sdkHeapGrowthKiB = 0;
    double bytesPerHour = 0;
    double requestsPerHour = 0;
    int64_t reports = 0;
    int64_t connections = 0;         // loopback only: TCP connections the server accepted
    double sdkMicrosPerRequest = 0;  // the SDK's CPU over the requests it sent
    // Loopback only: the same requests replayed by a bare libcurl loop (QMRequestFloor).
    double floorMicrosPerRequest = 0;
    int64_t floorFailures = 0;
};

// Plays a monitored session of the given shape on a virtual main loop, driven one loop pass at a
// time so that every pass can be timed, and a second time unmonitored for the baseline.
class QMSessionMeasurement {
  public:
    explicit QMSessionMeasurement(QMSessionSetup setup);
    QMSessionFigures run();

    // The scenario the simulator plays (for the results page).
    std::string scenarioText(const std::string& mediaURL) const;

  private:
    struct Totals;
    Totals play(bool monitored);

    QMSessionSetup setup_;
};

}  // namespace veyrakit
