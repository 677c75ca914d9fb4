#include "players/avplayer/QMAVPlayerVeyraPlugin.h"

#include <utility>

#include "players/avplayer/QMAVPlayerEventManager.h"
#include "players/avplayer/QMAVPlayerMetricManager.h"
#include "players/common/QMWeakObservation.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"
#include "veyrakit/platform/avfoundation/AVURLAsset.h"

namespace veyrakit {

namespace {
const std::string kDestroyNotification = "destroy";
}  // namespace

QMAVPlayerVeyraPlugin::QMAVPlayerVeyraPlugin() = default;
QMAVPlayerVeyraPlugin::~QMAVPlayerVeyraPlugin() = default;

void QMAVPlayerVeyraPlugin::prepareSession(const QMSessionDescription& description,
                                           const std::optional<QMJSON>& assetMetadata,
                                           const std::optional<QMJSON>& viewerMetadata) {
    disposed_ = false;
    pieReporter_ = std::make_shared<QMAVPlayerPIEReporter>()->initWithPlayer(player_, description,
                                                                             assetMetadata, viewerMetadata);
    pieReporter_->setSessionEventsURL(QMDiagnosticCollectors::sessionEventsURLForServerHost(
        description.serverHost.value_or(DEFAULT_SERVER_HOST())));
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
    observeWhileAlive(*this, AVPlayerItemDidPlayToEndTimeNotification, player_->currentItem().get(),
                      &QMAVPlayerVeyraPlugin::itemDidFinishPlaying);
    observeWhileAlive(*this, kDestroyNotification, nullptr,
                      [](QMAVPlayerVeyraPlugin& self, const QMNotification&) { self.destroy(); });
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
    for (int key : {QMMetricManager::BUFFERING_METRIC_KEY, QMMetricManager::VIEWING_TIME_METRIC_KEY,
                    QMMetricManager::BITRATE_METRIC_KEY, QMMetricManager::PLAYBACK_METRIC_KEY}) {
        withMetric<QMAdvertisementPause>(key, [paused](QMAdvertisementPause& metric) {
            if (paused) {
                metric.pauseMetricCollection();
            } else {
                metric.resumeMetricCollection();
            }
        });
    }
}

void QMAVPlayerVeyraPlugin::destroy() { dispose(); }

void QMAVPlayerVeyraPlugin::dispose() {
    if (disposed_) {
        return;
    }
    QMLogger::info("Disposing avplayerveyraplugin", "SV");
    disposed_ = true;
    deregisterEventHandlers();
    // The diagnostic reporter is left running: only stopPlayback stops it.
    QMVeyraPlugin::destroy();
}

}  // namespace veyrakit
