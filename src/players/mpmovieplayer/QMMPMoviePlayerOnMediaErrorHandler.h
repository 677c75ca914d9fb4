#pragma once
#include <string>

#include "players/common/QMPlayerMediaErrorHandler.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// Ends the session at every end of playback of an MPMoviePlayerController, whatever the reason;
// a playback error (reason 1) sends one PLAYBACK_ERROR report first, or, before the session
// exists, once the plugin's "sessionId" is set.
class QMMPMoviePlayerOnMediaErrorHandler
    : public QMPlayerMediaErrorHandler<QMMPMoviePlayerControllerVeyraPlugin> {
  public:
    // Takes the current plugin and its player from the repository.
    QMMPMoviePlayerOnMediaErrorHandler() = default;

    // Observes the player's end of playback.
    void attachHandlers() override;
    // Removes that observation (a waiting "sessionId" observation stays until release).
    void detachHandlers() override;

    // Reason 1: logs "Media error" and reports now, or waits for the session id when the
    // repository's plugin has no on-demand reporter. Then, for every reason, destroys the
    // repository's current plugin.
    void onMediaErrorEvent(const QMNotification& notification);
    // "sessionId" set: stop observing and report (no destroy here).
    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;
    // Sends {"type": "E"} through the repository's current plugin, with no callbacks.
    void sendMediaErrorMessage();
};

}  // namespace veyrakit
