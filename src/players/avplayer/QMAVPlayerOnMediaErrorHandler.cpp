#include "players/avplayer/QMAVPlayerOnMediaErrorHandler.h"

#include "logging/QMLogger.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

void QMAVPlayerOnMediaErrorHandler::attachHandlers() {
    if (const auto& item = player_ ? player_->currentItem() : nullptr) {
        item->addObserver(this, "status", NSKeyValueObservingOptionNew, nullptr);
    }
}

void QMAVPlayerOnMediaErrorHandler::detachHandlers() {
    if (const auto& item = player_ ? player_->currentItem() : nullptr) {
        item->removeObserver(this, "status");
    }
}

void QMAVPlayerOnMediaErrorHandler::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                                           const QMKeyValueChange&, void*) {
    // Reporting destroys the plugin, which releases this handler: stay alive to the end.
    auto self = weak_from_this().lock();
    if (keyPath == "sessionId") {
        stopObservingSessionId();
        if (plugin_ && plugin_->sessionId()) {
            onMediaErrorEvent();
        }
    }
    if (keyPath == "status" && player_ && player_->status() == AVPlayerStatusFailed) {
        onFailure();
    }
    const auto& item = player_ ? player_->currentItem() : nullptr;
    if (item && object == item.get() && keyPath == "status" && item->status() == AVPlayerItemStatusFailed) {
        onFailure();
    }
}

void QMAVPlayerOnMediaErrorHandler::onFailure() {
    if (observingSessionId_) {
        stopObservingSessionId();
    }
    onMediaErrorEvent();
}

void QMAVPlayerOnMediaErrorHandler::onMediaErrorEvent() {
    QMLogger::info("Media error", "X");
    if (plugin_ && !plugin_->onDemandReporter()) {
        observeSessionId();
        return;
    }
    sendMediaErrorMessage();
}

void QMAVPlayerOnMediaErrorHandler::sendMediaErrorMessage() {
    if (!plugin_) {
        return;
    }
    sendPlaybackErrorReport(plugin_);
    plugin_->destroy();
}

}  // namespace veyrakit
