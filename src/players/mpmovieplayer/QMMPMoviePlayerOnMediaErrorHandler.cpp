#include "players/mpmovieplayer/QMMPMoviePlayerOnMediaErrorHandler.h"

#include <any>

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "logging/QMLogger.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMReportType.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

namespace {

std::shared_ptr<QMVeyraPlugin> repositoryPlugin() {
    return QMObjectRepository::getRepositoryInstance()->plugin();
}

// The finish reason of the notification; -1 when it carries none.
long finishReason(const QMNotification& notification) {
    auto it = notification.userInfo().find(MPMoviePlayerPlaybackDidFinishReasonUserInfoKey);
    if (it == notification.userInfo().end()) {
        return -1;
    }
    const auto* reason = std::any_cast<long>(&it->second);
    return reason ? *reason : -1;
}

}  // namespace

QMMPMoviePlayerOnMediaErrorHandler::QMMPMoviePlayerOnMediaErrorHandler()
    : plugin_(repositoryPlugin()), player_(QMMPMoviePlayerControllerVeyraPlugin::currentPlayer()) {}

QMMPMoviePlayerOnMediaErrorHandler::~QMMPMoviePlayerOnMediaErrorHandler() {
    // An error still waiting for the session id must not leave an observation behind.
    if (observingSessionId_) {
        stopObservingSessionId();
    }
    plugin_.reset();
}

void QMMPMoviePlayerOnMediaErrorHandler::attachHandlers() {
    std::weak_ptr<QMMPMoviePlayerOnMediaErrorHandler> weakSelf = selfAs<QMMPMoviePlayerOnMediaErrorHandler>();
    QMNotificationCenter::defaultCenter()->addObserver(this, MPMoviePlayerPlaybackDidFinishNotification,
                                                       player_.get(),
                                                       [weakSelf](const QMNotification& notification) {
                                                           if (auto self = weakSelf.lock()) {
                                                               self->onMediaErrorEvent(notification);
                                                           }
                                                       });
}

void QMMPMoviePlayerOnMediaErrorHandler::detachHandlers() {
    QMNotificationCenter::defaultCenter()->removeObserver(this, MPMoviePlayerPlaybackDidFinishNotification,
                                                          player_.get());
}

void QMMPMoviePlayerOnMediaErrorHandler::onMediaErrorEvent(const QMNotification& notification) {
    if (finishReason(notification) == MPMovieFinishReasonPlaybackError) {
        // Read as the player hands it over; the report carries no detail of it.
        [[maybe_unused]] auto error =
            notification.userInfo().find(MPMoviePlayerPlaybackDidFinishErrorUserInfoKey);
        QMLogger::info("Media error", "X");
        auto current = repositoryPlugin();
        if (current && !current->onDemandReporter()) {
            if (plugin_ && !observingSessionId_) {
                plugin_->addObserver(this, "sessionId", NSKeyValueObservingOptionNew, nullptr);
                observingSessionId_ = true;
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
    auto current = repositoryPlugin();
    if (auto reporter = current ? current->onDemandReporter() : nullptr) {
        reporter->sendOnDemandReport(QMJSON{{"type", QMReportType::PLAYBACK_ERROR()}}, nullptr, nullptr);
    }
}

void QMMPMoviePlayerOnMediaErrorHandler::stopObservingSessionId() {
    observingSessionId_ = false;
    if (plugin_) {
        plugin_->removeObserver(this, "sessionId");
    }
}

}  // namespace veyrakit
