#pragma once
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "core/QMObjectRepository.h"
#include "core/QMStreamType.h"
#include "core/QMVeyraPlugin.h"
#include "logging/QMLogger.h"
#include "veyrakit/QMSessionDescription.h"

namespace veyrakit {

// What the plugins of both player kinds share: the player they monitor, how they are made and
// initialised from the host's session description, and the stream type of the playback URL.
// `Kind` is the player kind's plugin class; it supplies, as statics:
//   kPlayerName                            the player's name in the no-player error line
//   extractPlaybackURL(player)             where the playback URL comes from
//   convertMetadataKeyPairToSerializable   how the host's metadata becomes JSON
// and, as a member, prepareSession(description, assetMetadata, viewerMetadata): what the kind
// sets up between finding the URL and the base initialisation (which requests the session).
template <typename Kind, typename Player>
class QMPlayerPlugin : public QMVeyraPlugin {
  public:
    using PlayerType = Player;

    // A new plugin for the player, or nothing when the player is nothing. Throws what the
    // initialisation throws.
    static std::shared_ptr<Kind> pluginWithDescription(const std::shared_ptr<Player>& player,
                                                       const QMSessionDescription& description) {
        return std::make_shared<Kind>()->initWithDescription(player, description);
    }
    static std::shared_ptr<Kind> pluginWithParams(
        const std::shared_ptr<Player>& player, const std::optional<std::string>& assetId,
        const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
        const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
        const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
        const std::optional<QMCustomMetadataArray>& viewerMetadata,
        const std::optional<QMPluginMetadata>& pluginMetadata) {
        return pluginWithDescription(player, QMSessionDescription::withFields(
                                                 assetId, serverHost, qmrCID, assetType, assetName, viewerId,
                                                 assetMetadata, viewerMetadata, pluginMetadata));
    }

    // The base initialiser stays reachable for plugins that supply URL and stream type.
    using QMVeyraPlugin::initWithParams;
    std::shared_ptr<Kind> initWithParams(
        const std::shared_ptr<Player>& player, const std::optional<std::string>& assetId,
        const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
        const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
        const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
        const std::optional<QMCustomMetadataArray>& viewerMetadata,
        const std::optional<QMPluginMetadata>& pluginMetadata) {
        return initWithDescription(player, QMSessionDescription::withFields(
                                               assetId, serverHost, qmrCID, assetType, assetName, viewerId,
                                               assetMetadata, viewerMetadata, pluginMetadata));
    }

    // Logs an error and returns nothing for no player; otherwise stores it, converts the asset
    // and then the viewer metadata, finds URL and stream type, lets the kind prepare, and runs
    // the base initialisation (which registers the observers and requests the session).
    std::shared_ptr<Kind> initWithDescription(const std::shared_ptr<Player>& player,
                                              const QMSessionDescription& description) {
        if (!player) {
            QMLogger::error(
                std::string(Kind::kPlayerName) + " instance is null, the plugin will not initialized", "T");
            return nullptr;
        }
        player_ = player;
        auto assetMetadata = Kind::convertMetadataKeyPairToSerializable(description.assetMetadata);
        auto viewerMetadata = Kind::convertMetadataKeyPairToSerializable(description.viewerMetadata);
        auto playbackUrl = Kind::extractPlaybackURL(player_);
        auto streamType = extractStreamType(playbackUrl);
        static_cast<Kind&>(*this).prepareSession(description, assetMetadata, viewerMetadata);
        QMVeyraPlugin::initWithParams(std::move(playbackUrl), std::move(streamType), description.assetId,
                                      description.serverHost, description.qmrCID, description.assetType,
                                      description.assetName, description.viewerId, std::move(assetMetadata),
                                      std::move(viewerMetadata), description.pluginMetadata);
        return selfAs<Kind>();
    }

    // The monitored player (read-only).
    std::shared_ptr<Player> player() const { return player_; }
    // The player of the repository's current plugin when that is a plugin of this kind.
    static std::shared_ptr<Player> currentPlayer() {
        auto plugin = std::dynamic_pointer_cast<Kind>(QMObjectRepository::getRepositoryInstance()->plugin());
        return plugin ? plugin->player() : nullptr;
    }
    // "PDL", "HLS", "MPEG_DASH" or "UNKNOWN" (see QMStreamType).
    static std::string extractStreamType(const std::shared_ptr<QMURL>& url) {
        return QMStreamType::streamTypeForURL(url);
    }

  protected:
    std::shared_ptr<Player> player_;
};

}  // namespace veyrakit
