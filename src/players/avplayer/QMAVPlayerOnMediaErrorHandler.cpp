#include "players/avplayer/QMAVPlayerOnMediaErrorHandler.h"

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "logging/QMLogger.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMReportType.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

QMAVPlayerOnMediaErrorHandler::QMAVPlayerOnMediaErrorHandler()
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()) {
    auto avPlugin = std::dynamic_pointer_cast<QMAVPlayerVeyraPlugin>(plugin_);
    player_ = avPlugin ? avPlugin->player() : nullptr;
}

QMAVPlayerOnMediaErrorHandler::~QMAVPlayerOnMediaErrorHandler() {
    // A failure still waiting for the session id must not leave an observation behind.
    if (registerSessionId_ && plugin_) {
        plugin_->removeObserver(this, "sessionId");
    }
    plugin_.reset();
}

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
    if (registerSessionId_) {
        stopObservingSessionId();
    }
    onMediaErrorEvent();
}

void QMAVPlayerOnMediaErrorHandler::onMediaErrorEvent() {
    QMLogger::info("Media error", "X");
    if (plugin_ && !plugin_->onDemandReporter()) {
        plugin_->addObserver(this, "sessionId", NSKeyValueObservingOptionNew, nullptr);
        registerSessionId_ = true;
        return;
    }
    sendMediaErrorMessage();
}

void QMAVPlayerOnMediaErrorHandler::sendMediaErrorMessage() {
    if (!plugin_) {
        return;
    }
    if (auto reporter = plugin_->onDemandReporter()) {
        reporter->sendOnDemandReport(QMJSON{{"type", QMReportType::PLAYBACK_ERROR()}}, nullptr, nullptr);
    }
    plugin_->destroy();
}

void QMAVPlayerOnMediaErrorHandler::stopObservingSessionId() {
    registerSessionId_ = false;
    if (plugin_) {
        plugin_->removeObserver(this, "sessionId");
    }
}

}  // namespace veyrakit
