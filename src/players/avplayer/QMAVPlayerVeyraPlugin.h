#pragma once
#include <memory>
#include <optional>
#include <string>

#include "core/QMVeyraPlugin.h"
#include "diagnostics/QMAVPlayerPIEReporter.h"
#include "veyrakit/QMCustomMetadata.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

// The plugin that monitors one AVPlayer: takes the playback URL and stream type from the
// player's current item, converts the host's metadata, starts the session when the player's rate
// goes above zero, marks it stopped when the item ends at rate zero, and carries out the host's
// advertisement, size and stop commands on its metrics. It tears itself down on the process-wide
// "destroy" notification (the session request gave up).
//
// Make it with std::make_shared, then initWithParams; or use pluginWithParams.
class QMAVPlayerVeyraPlugin : public QMVeyraPlugin {
  public:
    QMAVPlayerVeyraPlugin();
    ~QMAVPlayerVeyraPlugin() override;

    // A new plugin for the player, or nothing when the player is nothing. Throws what the
    // initialisation throws (an item whose asset is not a URL asset has no playback URL).
    static std::shared_ptr<QMAVPlayerVeyraPlugin> pluginWithParams(
        const std::shared_ptr<AVPlayer>& player, const std::optional<std::string>& assetId,
        const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
        const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
        const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
        const std::optional<QMCustomMetadataArray>& viewerMetadata,
        const std::optional<QMPluginMetadata>& pluginMetadata);

    // The base initialiser stays reachable for subclasses that supply URL and stream type.
    using QMVeyraPlugin::initWithParams;
    // Logs an error and returns nothing for no player; otherwise stores it, converts the
    // metadata, finds URL and stream type and runs the base initialisation (which registers the
    // observers and requests the session).
    std::shared_ptr<QMAVPlayerVeyraPlugin> initWithParams(
        const std::shared_ptr<AVPlayer>& player, const std::optional<std::string>& assetId,
        const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
        const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
        const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
        const std::optional<QMCustomMetadataArray>& viewerMetadata,
        const std::optional<QMPluginMetadata>& pluginMetadata);

    // The monitored player (read-only).
    std::shared_ptr<AVPlayer> player() const { return player_; }
    bool disposed() const { return disposed_; }
    // The diagnostic reporter, from the initialisation until the tear-down lets it go.
    const std::shared_ptr<QMAVPlayerPIEReporter>& pieReporter() const { return pieReporter_; }

    // "PDL", "HLS", "MPEG_DASH" or "UNKNOWN" (see QMStreamType).
    static std::string extractStreamType(const std::shared_ptr<QMURL>& url);
    // The URL of the current item's asset when it is a URL asset; otherwise nothing.
    static std::shared_ptr<QMURL> extractPlaybackURL(const std::shared_ptr<AVPlayer>& player);
    // [{"key", "values"}] of the elements that have both; nothing when none has (or no input).
    static std::optional<QMJSON> convertMetadataKeyPairToSerializable(
        const std::optional<QMCustomMetadataArray>& metadata);

    std::shared_ptr<QMMetricManager> getMetricManagerInstance() override;
    std::shared_ptr<QMEventManager> getEventManagerInstance() override;
    // Stores the id, then hands it to the diagnostic reporter.
    void setSessionId(std::optional<std::string> sessionId) override;
    // Observes the player's "rate" (private context), the end of the item current now, and the
    // "destroy" notification from anyone.
    void registerEventHandlers() override;
    // Removes the three observations; the end of item for the item current now.
    void deregisterEventHandlers() override;

    // A rate above zero starts (or resumes) the session; other changes and contexts are ignored.
    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;
    // Stops the session only when the player's rate is exactly zero.
    void itemDidFinishPlaying(const QMNotification& notification);

    // The host's commands, carried out on the metrics by their keys; nothing without them.
    void sizeChangedToFullScreen() override;
    void sizeChangedToWindow() override;
    void stopPlayback() override;
    // Pause / resume buffering, viewing time, bitrate and playback, in that order. Full-screen
    // and elapsed time go on through an advertisement.
    void startAds() override;
    void stopAds() override;

    // Routed through dispose.
    void destroy() override;
    // Once: logs, removes the observers, the base tear-down, then lets the diagnostic reporter go
    // after its last post (its destructor ends its observations and its timer).
    void dispose() override;

  protected:
    std::shared_ptr<AVPlayer> player_;

  private:
    template <typename Metric, typename Action>
    void withMetric(int key, Action action);
    void pauseForAdvertisement(bool paused);

    std::shared_ptr<QMAVPlayerPIEReporter> pieReporter_;
    bool disposed_ = false;
    // Whether the player observations are in place: a subclass may leave them out.
    bool observingPlayer_ = false;
    // Its address tells this plugin's "rate" observation apart.
    char kRateDidChangeKVO = 0;
};

}  // namespace veyrakit
