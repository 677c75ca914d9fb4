#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"

#include <utility>

#include "players/common/QMWeakObservation.h"
#include "players/mpmovieplayer/QMMPMoviePlayerEventManager.h"
#include "players/mpmovieplayer/QMMPMoviePlayerMetricManager.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

QMMPMoviePlayerControllerVeyraPlugin::QMMPMoviePlayerControllerVeyraPlugin() = default;
QMMPMoviePlayerControllerVeyraPlugin::~QMMPMoviePlayerControllerVeyraPlugin() = default;

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
    observeWhileAlive(*this, MPMoviePlayerPlaybackStateDidChangeNotification, player_.get(),
                      &QMMPMoviePlayerControllerVeyraPlugin::onPlaybackStateChange);
    observeWhileAlive(*this, MPMoviePlayerPlaybackDidFinishNotification, player_.get(),
                      &QMMPMoviePlayerControllerVeyraPlugin::itemDidFinishPlaying);
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
