#pragma once
#include <memory>
#include <optional>

#include "players/common/QMPlayerPlugin.h"
#include "veyrakit/QMCustomMetadata.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// The plugin that monitors one MPMoviePlayerController: its content URL is the playback URL, the
// playing state starts the session and the end-of-playback notification marks it stopped,
// whatever the reason. It has no host commands (its metrics watch the player's own full-screen
// notifications) and does not follow the process-wide "destroy" notification, so a session
// request that gave up leaves it alive without a session. The facade tears it down with destroy
// and then dispose (the observer removal).
//
// Make it with std::make_shared, then initWithParams (or initWithDescription); or use
// pluginWithParams.
class QMMPMoviePlayerControllerVeyraPlugin
    : public QMPlayerPlugin<QMMPMoviePlayerControllerVeyraPlugin, MPMoviePlayerController> {
  public:
    static constexpr const char* kPlayerName = "MPMoviePlayerController";

    QMMPMoviePlayerControllerVeyraPlugin();
    ~QMMPMoviePlayerControllerVeyraPlugin() override;

    // The player's content URL.
    static std::shared_ptr<QMURL> extractPlaybackURL(const std::shared_ptr<MPMoviePlayerController>& player);
    // One {"key", "values"} per element, in order, each entry left out when absent; an empty
    // array stays an empty array (sent as []), and only no input gives nothing.
    static std::optional<QMJSON> convertMetadataKeyPairToSerializable(
        const std::optional<QMCustomMetadataArray>& metadata);
    // Nothing to prepare: the diagnostic handler is one of the event handlers.
    void prepareSession(const QMSessionDescription&, const std::optional<QMJSON>&,
                        const std::optional<QMJSON>&) {}

    std::shared_ptr<QMMetricManager> getMetricManagerInstance() override;
    std::shared_ptr<QMEventManager> getEventManagerInstance() override;
    // Observes the player's playback state and end of playback.
    void registerEventHandlers() override;
    void deregisterEventHandlers() override;

    // Playing (1) starts the session; other states are ignored.
    void onPlaybackStateChange(const QMNotification& notification);
    // Every end of playback stops the session.
    void itemDidFinishPlaying(const QMNotification& notification);

    // Removes the player observations: no guard, no log line.
    void dispose() override;
};

}  // namespace veyrakit
