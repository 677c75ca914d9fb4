#pragma once
#include <memory>
#include <optional>
#include <string>

#include "diagnostics/QMAVPlayerLogFollower.h"
#include "diagnostics/QMAVPlayerTraceFile.h"
#include "diagnostics/QMDiagnosticEventQueue.h"
#include "platform/QMJSON.h"
#include "veyrakit/QMSessionDescription.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/QMTimer.h"
#include "veyrakit/platform/QMURL.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

// PIE: player insight events, the diagnostic stream of a session (apart from its reports).
//
// The diagnostic companion of the AVPlayer plugin. From its creation it watches the player and
// the item current then (key-value changes and item notifications), follows the item's access and
// error logs, samples the playback position every second, reads the master playlist once and
// traces the logs to a file. Every change becomes an indexed, timestamped event; once the session
// id is known, each one-second tick posts the pending events with a description of the session, as
// pretty-printed JSON, to the session events collector. Posts are never retried.
//
// Make it with std::make_shared, then initWithPlayer. Its repeating timer keeps it, as a
// platform timer keeps its target: it runs on after its owner lets it go, until stopPlayback
// ends its observations and its timer (or its run loop goes). Main thread only, except the
// playlist reading, which records from the URL session's worker.
class QMAVPlayerPIEReporter : public QMObject {
  public:
    QMAVPlayerPIEReporter();
    ~QMAVPlayerPIEReporter() override;

    // Describes the session (nil arguments leave their keys out), starts the timer, the
    // observations and the playlist fetch, records the initial events and opens the trace file.
    std::shared_ptr<QMAVPlayerPIEReporter> initWithPlayer(
        std::shared_ptr<AVPlayer> player, const std::optional<std::string>& assetId,
        const std::optional<std::string>& qmrCID, const std::optional<std::string>& assetType,
        const std::optional<std::string>& assetName, const std::optional<std::string>& viewerId,
        const std::optional<QMJSON>& assetMetadata, const std::optional<QMJSON>& viewerMetadata);
    // The same from the host's session description, with its metadata already converted for the
    // session request (the description's own metadata arrays are not read).
    std::shared_ptr<QMAVPlayerPIEReporter> initWithPlayer(std::shared_ptr<AVPlayer> player,
                                                          const QMSessionDescription& description,
                                                          const std::optional<QMJSON>& assetMetadata,
                                                          const std::optional<QMJSON>& viewerMetadata);

    // Where the posts go (see QMDiagnosticCollectors); nothing is posted before it is set.
    void setSessionEventsURL(const std::string& url);
    // Posting starts with the next tick.
    void setSessionId(std::optional<std::string> sessionId);
    // Records "stopPlayback", posts what is pending at once (once the session id is known), then
    // stops: observations removed, timer invalidated. The only way to stop it.
    void stopPlayback();

    void log(const std::string& name);
    void log(const std::string& name, const std::optional<QMJSON>& info);
    void logToFile(const std::string& text);

    // The one-second tick: the position, then the post once the session id is known.
    void timerFired();
    // Posts what is pending, once the session id is known: on every tick, and at the stop.
    void flush();
    void sendPeriodicalReport();

    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;
    void playerItemDidPlayToEndTimeNotification(const QMNotification& notification);
    void playerItemFailedToPlayToEndTimeNotification(const QMNotification& notification);
    void playerItemTimeJumpedNotification(const QMNotification& notification);
    void playerItemPlaybackStalledNotification(const QMNotification& notification);
    void playerItemNewAccessLogEntryNotification(const QMNotification& notification);
    void playerItemNewErrorLogEntryNotification(const QMNotification& notification);

    const QMJSON& session() const { return session_; }
    const std::optional<std::string>& sessionId() const { return sessionId_; }
    const std::shared_ptr<QMDiagnosticEventQueue>& events() const { return events_; }
    const std::shared_ptr<QMTimer>& timer() const { return timer_; }
    const QMAVPlayerTraceFile* logFile() const { return logFile_.get(); }

    // Records one event into `queue`: its index, the time in ms since 1970, the name and, when
    // given, the info. Safe from any thread.
    static void recordEvent(QMDiagnosticEventQueue& queue, const std::string& name,
                            const std::optional<QMJSON>& info);

  private:
    void resetProperties();
    void addObservers();
    void removeObservers();
    void reportInitialEvents();
    void parsePlaylist();
    void prepareFileLoggerWithTemporarySessionId(const std::string& temporarySessionId);
    void observeItemNotification(const char* name,
                                 void (QMAVPlayerPIEReporter::*handler)(const QMNotification&));
    void recordStatus(const char* eventName, long status, const std::shared_ptr<QMError>& error);
    void followChanges(const std::vector<QMAVPlayerLogFollower::Change>& changes);
    const std::string& sessionText();

    std::shared_ptr<AVPlayer> player_;
    // The item current at start-up: the one observed. The observations are removed from the
    // item current at removal time.
    std::shared_ptr<AVPlayerItem> observedItem_;
    QMAVPlayerLogFollower logFollower_;
    QMJSON session_ = QMJSON::object();
    std::optional<std::string> sessionId_;
    // Parsed once: nullptr while unset or when the text is not a URL (nothing is posted then).
    std::shared_ptr<QMURL> sessionEventsURL_;
    // The session description with the session id, as every post writes it: built once, since
    // neither changes while the posts go out once a second. Empty: to be built.
    std::string sessionText_;
    // Shared with the playlist reading, which may outlive this reporter.
    std::shared_ptr<QMDiagnosticEventQueue> events_ = std::make_shared<QMDiagnosticEventQueue>();
    std::shared_ptr<QMTimer> timer_;
    double lastplaybackPosition_ = -1.0;
    std::unique_ptr<QMAVPlayerTraceFile> logFile_;
    bool observing_ = false;
};

}  // namespace veyrakit
