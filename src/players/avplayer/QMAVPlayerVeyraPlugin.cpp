#include "players/avplayer/QMAVPlayerVeyraPlugin.h"

#include <utility>

#include "core/QMStreamType.h"
#include "logging/QMLogger.h"
#include "metrics/QMMetricManager.h"
#include "players/avplayer/QMAVPlayerBitrateMetric.h"
#include "players/avplayer/QMAVPlayerBufferingMetric.h"
#include "players/avplayer/QMAVPlayerEventManager.h"
#include "players/avplayer/QMAVPlayerFullScreenMetric.h"
#include "players/avplayer/QMAVPlayerMetricManager.h"
#include "players/avplayer/QMAVPlayerPlaybackMetric.h"
#include "players/avplayer/QMAVPlayerViewingTimeMetric.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"
#include "veyrakit/platform/avfoundation/AVURLAsset.h"

namespace veyrakit {

namespace {
const std::string kDestroyNotification = "destroy";
}  // namespace

QMAVPlayerVeyraPlugin::QMAVPlayerVeyraPlugin() = default;
QMAVPlayerVeyraPlugin::~QMAVPlayerVeyraPlugin() = default;

std::shared_ptr<QMAVPlayerVeyraPlugin> QMAVPlayerVeyraPlugin::pluginWithParams(
    const std::shared_ptr<AVPlayer>& player, const std::optional<std::string>& assetId,
    const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
    const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
    const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
    const std::optional<QMCustomMetadataArray>& viewerMetadata,
    const std::optional<QMPluginMetadata>& pluginMetadata) {
    return std::make_shared<QMAVPlayerVeyraPlugin>()->initWithParams(
        player, assetId, serverHost, qmrCID, assetType, assetName, viewerId, assetMetadata, viewerMetadata,
        pluginMetadata);
}

std::shared_ptr<QMAVPlayerVeyraPlugin> QMAVPlayerVeyraPlugin::initWithParams(
    const std::shared_ptr<AVPlayer>& player, const std::optional<std::string>& assetId,
    const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
    const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
    const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
    const std::optional<QMCustomMetadataArray>& viewerMetadata,
    const std::optional<QMPluginMetadata>& pluginMetadata) {
    if (!player) {
        QMLogger::error("AVPlayer instance is null, the plugin will not initialized", "T");
        return nullptr;
    }
    player_ = player;
    auto convertedAssetMetadata = convertMetadataKeyPairToSerializable(assetMetadata);
    auto convertedViewerMetadata = convertMetadataKeyPairToSerializable(viewerMetadata);
    disposed_ = false;
    auto playbackUrl = extractPlaybackURL(player_);
    auto streamType = extractStreamType(playbackUrl);
    pieReporter_ = std::make_shared<QMAVPlayerPIEReporter>()->initWithPlayer(
        player_, assetId, qmrCID, assetType, assetName, viewerId, convertedAssetMetadata,
        convertedViewerMetadata);
    pieReporter_->setSessionEventsURL(
        QMDiagnosticCollectors::sessionEventsURLForServerHost(serverHost.value_or(DEFAULT_SERVER_HOST())));
    QMVeyraPlugin::initWithParams(std::move(playbackUrl), std::move(streamType), assetId, serverHost, qmrCID,
                                  assetType, assetName, viewerId, std::move(convertedAssetMetadata),
                                  std::move(convertedViewerMetadata), pluginMetadata);
    return selfAs<QMAVPlayerVeyraPlugin>();
}

std::string QMAVPlayerVeyraPlugin::extractStreamType(const std::shared_ptr<QMURL>& url) {
    return QMStreamType::streamTypeForURL(url);
}

std::shared_ptr<QMURL> QMAVPlayerVeyraPlugin::extractPlaybackURL(const std::shared_ptr<AVPlayer>& player) {
    const auto& item = player ? player->currentItem() : nullptr;
    auto asset = item ? std::dynamic_pointer_cast<AVURLAsset>(item->asset()) : nullptr;
    return asset ? asset->URL() : nullptr;
}

std::optional<QMJSON> QMAVPlayerVeyraPlugin::convertMetadataKeyPairToSerializable(
    const std::optional<QMCustomMetadataArray>& metadata) {
    QMJSON converted = QMJSON::array();
    for (const auto& element : metadata.value_or(QMCustomMetadataArray{})) {
        auto key = element ? element->key() : std::nullopt;
        auto values = element ? element->values() : std::nullopt;
        if (key && values) {
            converted.push_back(QMJSON{{"key", *key}, {"values", *values}});
        }
    }
    // Nothing rather than [], so that the session request leaves the metadata out.
    return converted.empty() ? std::nullopt : std::optional<QMJSON>(std::move(converted));
}

std::shared_ptr<QMMetricManager> QMAVPlayerVeyraPlugin::getMetricManagerInstance() {
    return std::make_shared<QMAVPlayerMetricManager>();
}

std::shared_ptr<QMEventManager> QMAVPlayerVeyraPlugin::getEventManagerInstance() {
    return std::make_shared<QMAVPlayerEventManager>();
}

void QMAVPlayerVeyraPlugin::setSessionId(std::optional<std::string> sessionId) {
    QMVeyraPlugin::setSessionId(sessionId);
    if (pieReporter_) {
        pieReporter_->setSessionId(std::move(sessionId));
    }
}

void QMAVPlayerVeyraPlugin::registerEventHandlers() {
    QMVeyraPlugin::registerEventHandlers();
    player_->addObserver(this, "rate", NSKeyValueObservingOptionNew, &kRateDidChangeKVO);
    observingPlayer_ = true;
    // The centre does not own its observers: the handlers hold the plugin only while they run.
    std::weak_ptr<QMAVPlayerVeyraPlugin> weakSelf = selfAs<QMAVPlayerVeyraPlugin>();
    auto center = QMNotificationCenter::defaultCenter();
    center->addObserver(this, AVPlayerItemDidPlayToEndTimeNotification, player_->currentItem().get(),
                        [weakSelf](const QMNotification& notification) {
                            if (auto self = weakSelf.lock()) {
                                self->itemDidFinishPlaying(notification);
                            }
                        });
    center->addObserver(this, kDestroyNotification, nullptr, [weakSelf](const QMNotification&) {
        if (auto self = weakSelf.lock()) {
            self->destroy();
        }
    });
}

void QMAVPlayerVeyraPlugin::deregisterEventHandlers() {
    QMVeyraPlugin::deregisterEventHandlers();
    if (observingPlayer_ && player_) {
        observingPlayer_ = false;
        player_->removeObserver(this, "rate", &kRateDidChangeKVO);
    }
    auto center = QMNotificationCenter::defaultCenter();
    center->removeObserver(this, AVPlayerItemDidPlayToEndTimeNotification,
                           player_ ? player_->currentItem().get() : nullptr);
    center->removeObserver(this, kDestroyNotification);
}

void QMAVPlayerVeyraPlugin::observeValueForKeyPath(const std::string&, QMObject*, const QMKeyValueChange&,
                                                   void* context) {
    if (context != &kRateDidChangeKVO) {
        return;
    }
    // The start may end in a tear-down that drops the last owner of this plugin.
    auto self = weak_from_this().lock();
    if (player_->rate() > 0) {
        onPlayerStart();
    }
}

void QMAVPlayerVeyraPlugin::itemDidFinishPlaying(const QMNotification&) {
    if (player_->rate() == 0) {
        onPlayerStop();
    }
}

template <typename Metric, typename Action>
void QMAVPlayerVeyraPlugin::withMetric(int key, Action action) {
    auto manager = metricManager();
    if (auto metric = std::dynamic_pointer_cast<Metric>(manager ? manager->metricForKey(key) : nullptr)) {
        action(*metric);
    }
}

void QMAVPlayerVeyraPlugin::sizeChangedToFullScreen() {
    withMetric<QMAVPlayerFullScreenMetric>(QMMetricManager::FULL_SCREEN_METRIC_KEY,
                                           [](auto& metric) { metric.onSizeChanged(true); });
}

void QMAVPlayerVeyraPlugin::sizeChangedToWindow() {
    withMetric<QMAVPlayerFullScreenMetric>(QMMetricManager::FULL_SCREEN_METRIC_KEY,
                                           [](auto& metric) { metric.onSizeChanged(false); });
}

void QMAVPlayerVeyraPlugin::stopPlayback() {
    // The stop may end the session: the tear-down must not take this plugin with it mid-call.
    auto self = weak_from_this().lock();
    if (pieReporter_) {
        pieReporter_->stopPlayback();
    }
    withMetric<QMAVPlayerPlaybackMetric>(QMMetricManager::PLAYBACK_METRIC_KEY,
                                         [](auto& metric) { metric.stopPlayback(); });
}

void QMAVPlayerVeyraPlugin::startAds() { pauseForAdvertisement(true); }

void QMAVPlayerVeyraPlugin::stopAds() { pauseForAdvertisement(false); }

void QMAVPlayerVeyraPlugin::pauseForAdvertisement(bool paused) {
    auto apply = [paused](auto& metric) {
        if (paused) {
            metric.pauseMetricCollection();
        } else {
            metric.resumeMetricCollection();
        }
    };
    withMetric<QMAVPlayerBufferingMetric>(QMMetricManager::BUFFERING_METRIC_KEY, apply);
    withMetric<QMAVPlayerViewingTimeMetric>(QMMetricManager::VIEWING_TIME_METRIC_KEY, apply);
    withMetric<QMAVPlayerBitrateMetric>(QMMetricManager::BITRATE_METRIC_KEY, apply);
    withMetric<QMAVPlayerPlaybackMetric>(QMMetricManager::PLAYBACK_METRIC_KEY, apply);
}

void QMAVPlayerVeyraPlugin::destroy() { dispose(); }

void QMAVPlayerVeyraPlugin::dispose() {
    if (disposed_) {
        return;
    }
    QMLogger::info("Disposing avplayerveyraplugin", "SV");
    disposed_ = true;
    deregisterEventHandlers();
    QMVeyraPlugin::destroy();
    // The stop or the end that ended the session is still pending: it goes out before the reporter.
    if (auto reporter = std::exchange(pieReporter_, nullptr)) {
        reporter->flush();
    }
}

}  // namespace veyrakit
