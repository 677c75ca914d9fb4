#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "diagnostics/QMDiagnosticEventQueue.h"
#include "events/QMEventHandler.h"
#include "platform/QMJSON.h"
#include "veyrakit/platform/QMDate.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/QMTimer.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

class QMVeyraPlugin;

// PIE: player insight events, the diagnostic stream of a session (apart from its reports).
//
// The diagnostic handler of a movie player session. While attached it turns the player's
// notifications, and every change in the newest entries of its access and error logs, into short
// event texts with a timestamp and a running index, and once a second posts the pending ones with
// a description of the session to the diagnostic events collector. Nothing it collects reaches
// the regular reports and nothing it sends is retried.
//
// The event texts are data the diagnostic server receives: their spellings ("channged",
// "Unkown", "transfered") and the WWAN label of the downloaded-segment count stay as they are.
class QMMPMoviePlayerPIEHandler : public QMEventHandler {
  public:
    // Takes the current plugin from the repository; `player` is that plugin's player (the movie
    // player plugin, which knows it, lives in a layer above this one).
    explicit QMMPMoviePlayerPIEHandler(std::shared_ptr<MPMoviePlayerController> player);
    ~QMMPMoviePlayerPIEHandler() override;

    // Every last-seen field back to its initial value (nothing, 0 or 0.0).
    void resetProperties();
    // The one-second timer, the session description (fixed from now on), the events with the
    // index at 1, the thirteen observations of the player, and an event for its load state.
    void attachHandlers() override;
    // Resets the last-seen fields, removes the observations, stops the timer and drops the
    // session and the pending events; the index is back to 1.
    void detachHandlers() override;

    // Records one event; lost while the handler is not attached.
    void log(const std::string& text);
    // The timer's action: posts the pending events, if any, and forgets them at once.
    void sendPeriodicalReport();
    // Record an event for each field of the newest log entry that differs from its last-seen
    // value. Both checks share the URI, server address and session ID fields.
    void checkAccessLogChanges();
    void checkErrorLogChanges();

    // One callback per observed notification: each records its event, if any, then runs both
    // log checks.
    void durationAvailable(const QMNotification& notification);
    void mediaTypesAvailable(const QMNotification& notification);
    void naturalSizeAvailable(const QMNotification& notification);
    void didEnterFullscreen(const QMNotification& notification);
    void didExitFullscreen(const QMNotification& notification);
    void airPlayVideoActiveDidChange(const QMNotification& notification);
    void loadStateDidChange(const QMNotification& notification);
    void nowPlayingMovieDidChange(const QMNotification& notification);
    void playbackDidFinish(const QMNotification& notification);
    void playbackStateDidChange(const QMNotification& notification);
    void scalingModeDidChange(const QMNotification& notification);
    void sourceTypeAvailable(const QMNotification& notification);
    void readyForDisplayDidChange(const QMNotification& notification);

    std::shared_ptr<MPMoviePlayerController> player() const { return player_; }
    std::shared_ptr<QMVeyraPlugin> plugin() const { return plugin_; }
    // Nothing while not attached.
    const std::optional<QMJSON>& session() const { return session_; }
    int64_t eventCount() const { return events_.nextIndex(); }

  private:
    using Callback = void (QMMPMoviePlayerPIEHandler::*)(const QMNotification&);
    struct Observation {
        const char* name;
        Callback callback;
    };
    static const Observation kObservations[13];

    void observePlayer();
    void checkLogs();
    QMJSON sessionDescription() const;
    // When the log's value differs from its shadow, the shadow takes it and the text formatted
    // with it is recorded.
    template <typename T, typename V>
    void follow(T& shadow, const V& value, const char* format);

    std::shared_ptr<MPMoviePlayerController> player_;
    std::shared_ptr<QMVeyraPlugin> plugin_;
    std::optional<std::string> uri_;
    std::optional<std::string> address_;
    int64_t addressChanges_ = 0;
    int64_t numberOfSegmentsDownloaded_ = 0;
    int64_t bytesTransfered_ = 0;
    std::shared_ptr<QMDate> startDate_;
    std::optional<std::string> sessionID_;
    double startOffset_ = 0.0;
    double durationWatched_ = 0.0;
    int64_t droppedVideoFrames_ = 0;
    int64_t stalls_ = 0;
    double segmentsDownloadDuration_ = 0.0;
    double indicatedBitrate_ = 0.0;
    double bitrate_ = 0.0;
    std::shared_ptr<QMDate> errorDate_;
    int64_t errorStatusCode_ = 0;
    std::optional<std::string> errorDomain_;
    std::optional<std::string> errorComment_;
    std::optional<QMJSON> session_;
    // Collecting only between attach and detach: outside, events have nowhere to go.
    bool collecting_ = false;
    QMDiagnosticEventQueue events_;
    std::string eventsURL_;
    std::shared_ptr<QMTimer> timer_;
};

}  // namespace veyrakit
