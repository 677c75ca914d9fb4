#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"

#include <utility>

#include "core/QMObjectRepository.h"
#include "core/QMStreamType.h"
#include "logging/QMLogger.h"
#include "players/mpmovieplayer/QMMPMoviePlayerEventManager.h"
#include "players/mpmovieplayer/QMMPMoviePlayerMetricManager.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

QMMPMoviePlayerControllerVeyraPlugin::QMMPMoviePlayerControllerVeyraPlugin() = default;
QMMPMoviePlayerControllerVeyraPlugin::~QMMPMoviePlayerControllerVeyraPlugin() = default;

std::shared_ptr<QMMPMoviePlayerControllerVeyraPlugin> QMMPMoviePlayerControllerVeyraPlugin::pluginWithParams(
    const std::shared_ptr<MPMoviePlayerController>& player, const std::optional<std::string>& assetId,
    const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
    const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
    const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
    const std::optional<QMCustomMetadataArray>& viewerMetadata,
    const std::optional<QMPluginMetadata>& pluginMetadata) {
    return std::make_shared<QMMPMoviePlayerControllerVeyraPlugin>()->initWithParams(
        player, assetId, serverHost, qmrCID, assetType, assetName, viewerId, assetMetadata, viewerMetadata,
        pluginMetadata);
}

std::shared_ptr<QMMPMoviePlayerControllerVeyraPlugin> QMMPMoviePlayerControllerVeyraPlugin::initWithParams(
    const std::shared_ptr<MPMoviePlayerController>& player, const std::optional<std::string>& assetId,
    const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
    const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
    const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
    const std::optional<QMCustomMetadataArray>& viewerMetadata,
    const std::optional<QMPluginMetadata>& pluginMetadata) {
    if (!player) {
        QMLogger::error("MPMoviePlayerController instance is null, the plugin will not initialized", "T");
        return nullptr;
    }
    player_ = player;
    auto convertedAssetMetadata = convertMetadataKeyPairToSerializable(assetMetadata);
    auto convertedViewerMetadata = convertMetadataKeyPairToSerializable(viewerMetadata);
    auto playbackUrl = extractPlaybackURL(player_);
    auto streamType = extractStreamType(playbackUrl);
    QMVeyraPlugin::initWithParams(std::move(playbackUrl), std::move(streamType), assetId, serverHost, qmrCID,
                                  assetType, assetName, viewerId, std::move(convertedAssetMetadata),
                                  std::move(convertedViewerMetadata), pluginMetadata);
    return selfAs<QMMPMoviePlayerControllerVeyraPlugin>();
}

std::shared_ptr<MPMoviePlayerController> QMMPMoviePlayerControllerVeyraPlugin::currentPlayer() {
    auto plugin = std::dynamic_pointer_cast<QMMPMoviePlayerControllerVeyraPlugin>(
        QMObjectRepository::getRepositoryInstance()->plugin());
    return plugin ? plugin->player() : nullptr;
}

std::string QMMPMoviePlayerControllerVeyraPlugin::extractStreamType(const std::shared_ptr<QMURL>& url) {
    return QMStreamType::streamTypeForURL(url);
}

std::shared_ptr<QMURL> QMMPMoviePlayerControllerVeyraPlugin::extractPlaybackURL(
    const std::shared_ptr<MPMoviePlayerController>& player) {
    return player ? player->contentURL() : nullptr;
}

std::optional<QMJSON> QMMPMoviePlayerControllerVeyraPlugin::convertMetadataKeyPairToSerializable(
    const std::optional<QMCustomMetadataArray>& metadata) {
    if (!metadata) {
        return std::nullopt;
    }
    // Unlike the AVPlayer plugin: nothing is skipped and [] stays [].
    QMJSON converted = QMJSON::array();
    for (const auto& element : *metadata) {
        QMJSON item = QMJSON::object();
        if (auto key = element ? element->key() : std::nullopt) {
            item["key"] = *key;
        }
        if (auto values = element ? element->values() : std::nullopt) {
            item["values"] = *values;
        }
        converted.push_back(std::move(item));
    }
    return converted;
}

std::shared_ptr<QMMetricManager> QMMPMoviePlayerControllerVeyraPlugin::getMetricManagerInstance() {
    return std::make_shared<QMMPMoviePlayerMetricManager>();
}

std::shared_ptr<QMEventManager> QMMPMoviePlayerControllerVeyraPlugin::getEventManagerInstance() {
    return std::make_shared<QMMPMoviePlayerEventManager>();
}

void QMMPMoviePlayerControllerVeyraPlugin::registerEventHandlers() {
    QMVeyraPlugin::registerEventHandlers();
    // The centre does not own its observers: the handlers hold the plugin only while they run.
    std::weak_ptr<QMMPMoviePlayerControllerVeyraPlugin> weakSelf =
        selfAs<QMMPMoviePlayerControllerVeyraPlugin>();
    auto center = QMNotificationCenter::defaultCenter();
    center->addObserver(this, MPMoviePlayerPlaybackStateDidChangeNotification, player_.get(),
                        [weakSelf](const QMNotification& notification) {
                            if (auto self = weakSelf.lock()) {
                                self->onPlaybackStateChange(notification);
                            }
                        });
    center->addObserver(this, MPMoviePlayerPlaybackDidFinishNotification, player_.get(),
                        [weakSelf](const QMNotification& notification) {
                            if (auto self = weakSelf.lock()) {
                                self->itemDidFinishPlaying(notification);
                            }
                        });
}

void QMMPMoviePlayerControllerVeyraPlugin::deregisterEventHandlers() {
    QMVeyraPlugin::deregisterEventHandlers();
    auto center = QMNotificationCenter::defaultCenter();
    center->removeObserver(this, MPMoviePlayerPlaybackStateDidChangeNotification, player_.get());
    center->removeObserver(this, MPMoviePlayerPlaybackDidFinishNotification, player_.get());
}

void QMMPMoviePlayerControllerVeyraPlugin::onPlaybackStateChange(const QMNotification&) {
    if (player_->playbackState() == MPMoviePlaybackStatePlaying) {
        onPlayerStart();
    }
}

void QMMPMoviePlayerControllerVeyraPlugin::itemDidFinishPlaying(const QMNotification&) { onPlayerStop(); }

void QMMPMoviePlayerControllerVeyraPlugin::dispose() { deregisterEventHandlers(); }

}  // namespace veyrakit
