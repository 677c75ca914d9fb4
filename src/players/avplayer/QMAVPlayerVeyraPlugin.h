#pragma once
#include <memory>
#include <optional>
#include <string>

#include "diagnostics/QMAVPlayerPIEReporter.h"
#include "players/common/QMPlayerPlugin.h"
#include "veyrakit/QMCustomMetadata.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

// The plugin that monitors one AVPlayer: takes the playback URL and stream type from the
// player's current item, starts the session when the player's rate goes above zero, marks it
// stopped when the item ends at rate zero, owns the diagnostic reporter, and carries out the
// host's advertisement, size and stop commands on its metrics. It tears itself down on the
// process-wide "destroy" notification (the session request gave up).
//
// Make it with std::make_shared, then initWithParams (or initWithDescription); or use
// pluginWithParams. Those throw what the initialisation throws (an item whose asset is not a URL
// asset has no playback URL).
class QMAVPlayerVeyraPlugin : public QMPlayerPlugin<QMAVPlayerVeyraPlugin, AVPlayer> {
  public:
    static constexpr const char* kPlayerName = "AVPlayer";

    QMAVPlayerVeyraPlugin();
    ~QMAVPlayerVeyraPlugin() override;

    bool disposed() const { return disposed_; }
    // The diagnostic reporter, from the initialisation on; the tear-down leaves it running.
    const std::shared_ptr<QMAVPlayerPIEReporter>& pieReporter() const { return pieReporter_; }

    // The URL of the current item's asset when it is a URL asset; otherwise nothing.
    static std::shared_ptr<QMURL> extractPlaybackURL(const std::shared_ptr<AVPlayer>& player);
    // [{"key", "values"}] of the elements that have both; nothing when none has (or no input).
    static std::optional<QMJSON> convertMetadataKeyPairToSerializable(
        const std::optional<QMCustomMetadataArray>& metadata);
    // Before the session request: starts the diagnostic reporter, which posts to the server
    // host's session events collector.
    void prepareSession(const QMSessionDescription& description, const std::optional<QMJSON>& assetMetadata,
                        const std::optional<QMJSON>& viewerMetadata);

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
    // Once: logs, removes the observers, then the base tear-down. The diagnostic reporter runs
    // on until stopPlayback (which still reaches it after the tear-down); once this plugin is let
    // go (a newer plugin replaced it) nothing can stop it, and its timer keeps it posting.
    void dispose() override;

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
