#pragma once
#include <string>

#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "players/common/QMPlayerMediaErrorHandler.h"

namespace veyrakit {

// Sends one PLAYBACK_ERROR report when the player fails and ends the session. Watches the
// status of the item that is current when the handlers are attached; when the failure comes
// before the session exists (no on-demand reporter yet), waits for the plugin's "sessionId".
class QMAVPlayerOnMediaErrorHandler : public QMPlayerMediaErrorHandler<QMAVPlayerVeyraPlugin> {
  public:
    // Takes the current plugin and its player from the repository.
    QMAVPlayerOnMediaErrorHandler() = default;

    // Observes the current item's "status".
    void attachHandlers() override;
    // Removes the "status" observation from the item that is current now.
    void detachHandlers() override;

    // "sessionId": report a held-back failure once the id is there. "status": the player's own
    // status, then the current item's, are each checked for failure: both failed reports twice.
    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

    // Logs "Media error"; reports now, or waits for the session id when there is no reporter.
    void onMediaErrorEvent();
    // Sends {"type": "E"} with no callbacks, then destroys the plugin.
    void sendMediaErrorMessage();

    bool registerSessionId() const { return observingSessionId_; }

  private:
    void onFailure();
};

}  // namespace veyrakit
