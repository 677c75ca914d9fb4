#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/QMScenarioStep.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/avfoundation/CGSize.h"

namespace veyrakit {

// What an AVPlayer's rate does while its buffer runs dry under a viewer who wants to play. The
// platform keeps the rate (it waits for data by itself); older players dropped it to 0 and set it
// back at recovery, and some scenarios still play that.
enum class QMScenarioStallBehaviour {
    RateStays,
    RateDrops,
};

// One rung of the variant ladder of an adaptive stream.
struct QMScenarioVariant {
    int64_t bitrate = 0;               // bits per second
    std::optional<CGSize> resolution;  // when the ladder gives one
    std::optional<std::string> URI;    // the variant playlist; derived from the URL when absent
};

// A parsed scenario (see docs/scenarios.md): what is played, and the steps, sorted by time, that
// happen while it plays. QMScenarioParser builds it; a program may also fill one in directly.
class QMScenario : public QMObject {
  public:
    QMScenario();
    ~QMScenario() override;

    // Where it came from, for messages ("vod-default.scenario").
    const std::string& sourceName() const { return sourceName_; }
    void setSourceName(std::string sourceName) { sourceName_ = std::move(sourceName); }

    QMScenarioPlayerKind playerKind() const { return playerKind_; }
    void setPlayerKind(QMScenarioPlayerKind playerKind) { playerKind_ = playerKind; }

    // The media URL; absent only for an AVPlayer item whose asset is not a URL asset.
    const std::optional<std::string>& url() const { return url_; }
    void setUrl(std::optional<std::string> url) { url_ = std::move(url); }
    bool isURLAsset() const { return urlAsset_; }
    void setURLAsset(bool urlAsset) { urlAsset_ = urlAsset; }

    // The scenario asks its player to serve the master playlist made from its ladder on loopback
    // and to play it from there (`playlist served`), so that a playlist reader reads a real one.
    bool playlistServed() const { return playlistServed_; }
    void setPlaylistServed(bool playlistServed) { playlistServed_ = playlistServed; }

    // A live stream has no duration (indefinite) and never ends by itself.
    bool isLive() const { return live_; }
    void setLive(bool live) { live_ = live; }
    int64_t durationMillis() const { return durationMillis_; }
    void setDurationMillis(int64_t durationMillis) { durationMillis_ = durationMillis; }

    // The server address the logs report; the URL's host when not given.
    const std::optional<std::string>& serverAddress() const { return serverAddress_; }
    void setServerAddress(std::optional<std::string> serverAddress) {
        serverAddress_ = std::move(serverAddress);
    }
    // The playback session id the logs report; made from the start time when not given.
    const std::optional<std::string>& playbackSessionID() const { return playbackSessionID_; }
    void setPlaybackSessionID(std::optional<std::string> playbackSessionID) {
        playbackSessionID_ = std::move(playbackSessionID);
    }

    QMScenarioStallBehaviour stallBehaviour() const { return stallBehaviour_; }
    void setStallBehaviour(QMScenarioStallBehaviour stallBehaviour) { stallBehaviour_ = stallBehaviour; }

    // Playback starts on the first variant listed.
    const std::vector<QMScenarioVariant>& variants() const { return variants_; }
    void setVariants(std::vector<QMScenarioVariant> variants) { variants_ = std::move(variants); }
    const QMScenarioVariant* variantWithBitrate(int64_t bitrate) const;

    // The picture size when the variant gives none.
    CGSize size() const { return size_; }
    void setSize(CGSize size) { size_ = size; }
    // Length of one media segment, for the request and byte counts of the access log.
    double segmentSeconds() const { return segmentSeconds_; }
    void setSegmentSeconds(double segmentSeconds) { segmentSeconds_ = segmentSeconds; }

    const std::vector<QMScenarioStep>& steps() const { return steps_; }
    void setSteps(std::vector<QMScenarioStep> steps) { steps_ = std::move(steps); }

  private:
    std::string sourceName_ = "scenario";
    QMScenarioPlayerKind playerKind_ = QMScenarioPlayerKind::AVPlayer;
    std::optional<std::string> url_;
    bool urlAsset_ = true;
    bool playlistServed_ = false;
    bool live_ = false;
    QMScenarioStallBehaviour stallBehaviour_ = QMScenarioStallBehaviour::RateStays;
    int64_t durationMillis_ = 0;
    std::optional<std::string> serverAddress_;
    std::optional<std::string> playbackSessionID_;
    std::vector<QMScenarioVariant> variants_;
    CGSize size_ = CGSizeMake(1280.0, 720.0);
    double segmentSeconds_ = 6.0;
    std::vector<QMScenarioStep> steps_;
};

}  // namespace veyrakit
