#pragma once
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "veyrakit/QMCustomMetadata.h"
#include "veyrakit/QMSessionDescription.h"
#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

class AVPlayer;
class MPMoviePlayerController;

// The host's entry point: class-level operations only. Creates the monitoring plugin for the
// host's player, keeps at most one current plugin per player kind, and forwards the host's
// playback commands to the current AVPlayer plugin. Call on the main thread.
class VEYRAKIT_EXPORT QMVeyraKit {
  public:
    QMVeyraKit() = delete;

    static void pluginWithAVPlayer(const std::shared_ptr<AVPlayer>& player,
                                   const std::optional<std::string>& assetId,
                                   const std::optional<std::string>& qmrCID,
                                   const std::optional<std::string>& assetType,
                                   const std::optional<std::string>& assetName,
                                   const std::optional<std::string>& viewerId,
                                   const std::optional<QMCustomMetadataArray>& assetMetadata,
                                   const std::optional<QMCustomMetadataArray>& viewerMetadata);
    static void pluginWithAVPlayer(
        const std::shared_ptr<AVPlayer>& player, const std::optional<std::string>& assetId,
        const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
        const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
        const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
        const std::optional<QMCustomMetadataArray>& viewerMetadata);
    // The same with the session described by its fields' names. The description's plugin
    // metadata is not read: the facade names the plugin's kind there itself.
    static void pluginWithAVPlayer(const std::shared_ptr<AVPlayer>& player,
                                   const QMSessionDescription& description);

    static void pluginWithMPMoviePlayerController(const std::shared_ptr<MPMoviePlayerController>& player,
                                                  const std::optional<std::string>& assetId,
                                                  const std::optional<std::string>& qmrCID,
                                                  const std::optional<std::string>& assetType,
                                                  const std::optional<std::string>& assetName,
                                                  const std::optional<std::string>& viewerId,
                                                  const std::optional<QMCustomMetadataArray>& assetMetadata,
                                                  const std::optional<QMCustomMetadataArray>& viewerMetadata);
    static void pluginWithMPMoviePlayerController(
        const std::shared_ptr<MPMoviePlayerController>& player, const std::optional<std::string>& assetId,
        const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
        const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
        const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
        const std::optional<QMCustomMetadataArray>& viewerMetadata);
    static void pluginWithMPMoviePlayerController(const std::shared_ptr<MPMoviePlayerController>& player,
                                                  const QMSessionDescription& description);

    // Forwarded to the current AVPlayer plugin only; nothing happens without one.
    static void viewerFaultReport(const std::string& errorCode, const std::string& playerVersion);
    static void sizeChangedToFullScreen();
    static void sizeChangedToWindow();
    static void stopPlayback();
    // Ends the monitoring of the current AVPlayer for good, where the host will call nothing more
    // (its player is gone): a session under way sends its last report as with stopPlayback; one
    // still waiting for its session id sends nothing and ends at once.
    static void endAVPlayerMonitoring();
    static void startAds();
    static void stopAds();
};

}  // namespace veyrakit
