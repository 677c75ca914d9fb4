#pragma once
#include <memory>
#include <optional>
#include <string>

#include "core/QMVeyraPlugin.h"
#include "veyrakit/QMCustomMetadata.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// The plugin that monitors one MPMoviePlayerController: its content URL is the playback URL, the
// playing state starts the session and the end-of-playback notification marks it stopped,
// whatever the reason. It has no host commands (its metrics watch the player's own full-screen
// notifications) and does not follow the process-wide "destroy" notification, so a session
// request that gave up leaves it alive without a session. The facade tears it down with destroy
// and then dispose (the observer removal).
//
// Make it with std::make_shared, then initWithParams; or use pluginWithParams.
class QMMPMoviePlayerControllerVeyraPlugin : public QMVeyraPlugin {
  public:
    QMMPMoviePlayerControllerVeyraPlugin();
    ~QMMPMoviePlayerControllerVeyraPlugin() override;

    // A new plugin for the player, or nothing when the player is nothing.
    static std::shared_ptr<QMMPMoviePlayerControllerVeyraPlugin> pluginWithParams(
        const std::shared_ptr<MPMoviePlayerController>& player, const std::optional<std::string>& assetId,
        const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
        const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
        const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
        const std::optional<QMCustomMetadataArray>& viewerMetadata,
        const std::optional<QMPluginMetadata>& pluginMetadata);

    using QMVeyraPlugin::initWithParams;
    // Logs an error and returns nothing for no player; otherwise stores it, converts the
    // metadata, takes URL and stream type and runs the base initialisation.
    std::shared_ptr<QMMPMoviePlayerControllerVeyraPlugin> initWithParams(
        const std::shared_ptr<MPMoviePlayerController>& player, const std::optional<std::string>& assetId,
        const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
        const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
        const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
        const std::optional<QMCustomMetadataArray>& viewerMetadata,
        const std::optional<QMPluginMetadata>& pluginMetadata);

    // The monitored player (read-only).
    std::shared_ptr<MPMoviePlayerController> player() const { return player_; }
    // The player of the repository's current plugin when that is a movie player plugin.
    static std::shared_ptr<MPMoviePlayerController> currentPlayer();

    // "PDL", "HLS", "MPEG_DASH" or "UNKNOWN" (see QMStreamType).
    static std::string extractStreamType(const std::shared_ptr<QMURL>& url);
    // The player's content URL.
    static std::shared_ptr<QMURL> extractPlaybackURL(const std::shared_ptr<MPMoviePlayerController>& player);
    // One {"key", "values"} per element, in order, each entry left out when absent; an empty
    // array stays an empty array (sent as []), and only no input gives nothing.
    static std::optional<QMJSON> convertMetadataKeyPairToSerializable(
        const std::optional<QMCustomMetadataArray>& metadata);

    std::shared_ptr<QMMetricManager> getMetricManagerInstance() override;
    std::shared_ptr<QMEventManager> getEventManagerInstance() override;
    // Observes the player's playback state and end of playback.
    void registerEventHandlers() override;
    void deregisterEventHandlers() override;

    // Playing (1) starts the session; other states are ignored.
    void onPlaybackStateChange(const QMNotification& notification);
    // Every end of playback stops the session.
    void itemDidFinishPlaying(const QMNotification& notification);

    // Removes the player observations: no guard, no log line.
    void dispose() override;

  private:
    std::shared_ptr<MPMoviePlayerController> player_;
};

}  // namespace veyrakit
