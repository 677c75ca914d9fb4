#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "simulator/QMScenario.h"
#include "veyrakit/platform/QMDate.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/avfoundation/CGSize.h"
#include "veyrakit/platform/avfoundation/QMMediaAccessLogEvent.h"
#include "veyrakit/platform/avfoundation/QMMediaErrorLogEvent.h"

namespace veyrakit {

// The stream behind a simulated player: the variant being played and the figures of the
// current access-log event. Every figure follows from the scenario and the simulated clock
// (docs/scenarios.md gives the formulas), so tests can predict them exactly.
class QMSimulatedStream : public QMObject {
  public:
    struct Figures {
        std::optional<std::string> URI;
        std::optional<std::string> serverAddress;
        std::optional<std::string> playbackSessionID;
        std::optional<std::string> playbackType;
        std::shared_ptr<QMDate> playbackStartDate;
        double playbackStartOffset = -1.0;
        double startupTime = -1.0;
        double durationWatched = 0.0;
        double segmentsDownloadedDuration = 0.0;
        double transferDuration = 0.0;
        double indicatedBitrate = -1.0;
        double observedBitrate = -1.0;
        double observedMinBitrate = -1.0;
        double observedMaxBitrate = -1.0;
        double observedBitrateStandardDeviation = -1.0;
        double switchBitrate = -1.0;
        long numberOfSegmentsDownloaded = 0;
        long numberOfMediaRequests = 0;
        long numberOfServerAddressChanges = 0;
        long mediaRequestsWWAN = 0;
        long numberOfStalls = 0;
        long numberOfDroppedVideoFrames = 0;
        long downloadOverdue = 0;
        int64_t numberOfBytesTransferred = 0;
    };

    explicit QMSimulatedStream(std::shared_ptr<QMScenario> scenario);

    // The simulation starts now: the startup time counts from here, and the default playback
    // session id is made from this time.
    void begin(int64_t startMicros);

    // The variant played from now on; the next access-log event reports it.
    void selectVariant(int64_t bitrate, std::optional<double> observedBitrate);
    // The picture size of the variant (or of the scenario when the variant gives none).
    CGSize presentationSize() const;

    // The item became ready: the first event's startup time runs from the start to now.
    void markReady();
    // Starts a new access-log event at `position` (seconds of media).
    void openEvent(double position);
    bool hasEvent() const { return eventCount_ > 0; }
    void addWatched(double mediaSeconds);
    void countStall();
    Figures figures() const;
    // Writes the figures that both players' access-log events have.
    static void fillAccessLogEvent(QMMediaAccessLogEvent& event, const Figures& figures);
    // A loading error of the scenario's server-error step, on the current variant, now.
    void fillErrorLogEvent(QMMediaErrorLogEvent& event, const QMScenarioStep& step) const;

    std::optional<std::string> variantURI() const;
    // A live stream or an HLS playlist (as opposed to a file played by progressive download).
    bool isStreaming() const;
    const std::optional<std::string>& serverAddress() const { return serverAddress_; }
    const std::string& playbackSessionID() const { return playbackSessionID_; }

  private:
    std::shared_ptr<QMScenario> scenario_;
    int64_t startMicros_ = 0;
    std::optional<int64_t> readyMicros_;
    std::optional<std::string> serverAddress_;
    std::string playbackSessionID_;
    std::optional<QMScenarioVariant> variant_;
    std::optional<double> observedBitrate_;
    int eventCount_ = 0;
    Figures event_;
};

}  // namespace veyrakit
