#pragma once
#include <memory>
#include <optional>
#include <string>

#include "core/QMVeyraPlugin.h"
#include "demo/QMDemoOptions.h"
#include "veyrakit/QMCustomMetadata.h"
#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMTimer.h"

namespace veyrakit {

// Real media played by a real player (`--media`), monitored through the facade as an app would:
// one implementation per player kind makes the player model for the media URL, creates the
// monitoring plugin for it and lets a media-framework driver play it on the main run loop, in
// real time. The demo picks the kind with make(); the rest of the run does not know which it is.
class QMDemoMediaPlayback {
  public:
    struct Settings {
        std::string mediaURL;  // http:// or https://
        std::string serverURL;
        std::string sessionEventsURL;
        std::string diagnosticEventsURL;
        std::string assetId;
        std::string assetName;
        std::string assetType;  // "VOD" or "LIVE", as the media says
        QMCustomMetadataArray assetMetadata;
        QMCustomMetadataArray viewerMetadata;
    };

    QMDemoMediaPlayback() = default;
    virtual ~QMDemoMediaPlayback();
    QMDemoMediaPlayback(const QMDemoMediaPlayback&) = delete;
    QMDemoMediaPlayback& operator=(const QMDemoMediaPlayback&) = delete;

    // The playback of `player`'s kind; throws QMDemoError with a one-line reason when this build
    // has no real player.
    static std::unique_ptr<QMDemoMediaPlayback> make(QMDemoOptions::Player player);

    // Points the diagnostic streams at the collector, makes the player, the plugin and the driver,
    // and plays. Throws QMDemoError when the driver cannot start.
    virtual void start(const Settings& settings) = 0;
    // The media has ended or failed, or the viewer left.
    virtual bool mediaOver() const = 0;
    // Why the media failed to play, in the player's error; nullptr unless it failed.
    virtual std::shared_ptr<QMError> failure() const = 0;
    // The monitoring session has ended (or no plugin was made).
    bool sessionEnded() const;
    // The viewer leaves the player screen: monitoring and playback stop, and a session that has
    // still not ended one reporting interval later is destroyed. Nothing when the session is over.
    virtual void leave() = 0;
    std::optional<std::string> sessionId() const;
    // Ends what still runs and lets go of the plugin (facade slot and registry).
    virtual void finish() = 0;

    // Media and session over, and no report in flight on the main loop.
    bool isOver() const;

  protected:
    // The facade's current monitoring session of this kind.
    virtual std::shared_ptr<QMVeyraPlugin> session() const = 0;
    // Both diagnostic streams report to the run's collector.
    static void pointDiagnosticsAt(const Settings& settings);
    // A session that has still not ended one reporting interval (and a second) from now is
    // destroyed then, so that a run whose stop did not reach the session still ends.
    void endSessionLater();
    bool sessionEndPending() const { return endTimer_ != nullptr; }
    // Destroys the session now if it still runs; a pending endSessionLater is dropped.
    void endSession();

  private:
    std::shared_ptr<QMTimer> endTimer_;
};

}  // namespace veyrakit
