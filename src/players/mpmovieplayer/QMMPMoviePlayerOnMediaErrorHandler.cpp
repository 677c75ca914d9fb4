#include "players/mpmovieplayer/QMMPMoviePlayerOnMediaErrorHandler.h"

#include "logging/QMLogger.h"
#include "platform/mediaplayer/QMMPMoviePlayerFinishReason.h"
#include "players/common/QMWeakObservation.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

namespace {

std::shared_ptr<QMVeyraPlugin> repositoryPlugin() {
    return QMObjectRepository::getRepositoryInstance()->plugin();
}

}  // namespace

void QMMPMoviePlayerOnMediaErrorHandler::attachHandlers() {
    observeWhileAlive(*this, MPMoviePlayerPlaybackDidFinishNotification, player_.get(),
                      &QMMPMoviePlayerOnMediaErrorHandler::onMediaErrorEvent);
}

void QMMPMoviePlayerOnMediaErrorHandler::detachHandlers() {
    QMNotificationCenter::defaultCenter()->removeObserver(this, MPMoviePlayerPlaybackDidFinishNotification,
                                                          player_.get());
}

void QMMPMoviePlayerOnMediaErrorHandler::onMediaErrorEvent(const QMNotification& notification) {
    if (finishReasonOf(notification) == MPMovieFinishReasonPlaybackError) {
        // Read as the player hands it over; the report carries no detail of it.
        [[maybe_unused]] auto error =
            notification.userInfo().find(MPMoviePlayerPlaybackDidFinishErrorUserInfoKey);
        QMLogger::info("Media error", "X");
        auto current = repositoryPlugin();
        if (current && !current->onDemandReporter()) {
            if (plugin_ && !observingSessionId_) {
                observeSessionId();
            }
        } else {
            sendMediaErrorMessage();
        }
    }
    // Every end of playback ends the session.
    if (auto current = repositoryPlugin()) {
        current->destroy();
    }
}

void QMMPMoviePlayerOnMediaErrorHandler::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                                                const QMKeyValueChange& change,
                                                                void* context) {
    if (keyPath != "sessionId") {
        QMEventHandler::observeValueForKeyPath(keyPath, object, change, context);
        return;
    }
    if (plugin_ && plugin_->sessionId()) {
        stopObservingSessionId();
        sendMediaErrorMessage();
    }
}

void QMMPMoviePlayerOnMediaErrorHandler::sendMediaErrorMessage() {
    sendPlaybackErrorReport(repositoryPlugin());
}

}  // namespace veyrakit
