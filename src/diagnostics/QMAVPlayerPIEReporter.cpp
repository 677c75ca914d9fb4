#include "diagnostics/QMAVPlayerPIEReporter.h"

#include <any>
#include <cstdint>
#include <utility>

#include "diagnostics/QMAVPlayerPlaylistReader.h"
#include "platform/QMClock.h"
#include "platform/QMConsole.h"
#include "platform/QMException.h"
#include "platform/QMURLSession.h"
#include "platform/QMUUID.h"
#include "reporting/QMJSONPostRequest.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"
#include "veyrakit/platform/avfoundation/AVURLAsset.h"

namespace veyrakit {

namespace {

// Its address tells this class's observations apart from those of a base class.
char kObservingContext = 0;

const char* const kPlayerKeyPaths[] = {"rate", "status"};
const char* const kItemKeyPaths[] = {"status",
                                     "duration",
                                     "presentationSize",
                                     "playbackBufferEmpty",
                                     "playbackLikelyToKeepUp",
                                     "playbackBufferFull"};
const char* const kItemNotifications[] = {
    AVPlayerItemDidPlayToEndTimeNotification,  AVPlayerItemFailedToPlayToEndTimeNotification,
    AVPlayerItemTimeJumpedNotification,        AVPlayerItemPlaybackStalledNotification,
    AVPlayerItemNewAccessLogEntryNotification, AVPlayerItemNewErrorLogEntryNotification};

void putIfPresent(QMJSON& object, const char* key, const std::optional<std::string>& value) {
    if (value) {
        object[key] = *value;
    }
}

std::shared_ptr<AVURLAsset> urlAssetOf(const std::shared_ptr<AVPlayerItem>& item) {
    return item ? std::dynamic_pointer_cast<AVURLAsset>(item->asset()) : nullptr;
}

// What the playlist offers, recorded from the URL session's worker: the bitrates always (none
// when the fetch failed), the resolutions only when there are some.
void recordPlaylist(QMDiagnosticEventQueue& queue, const std::optional<std::string>& data) {
    const std::string text = data.value_or("");
    QMJSON bitrates = QMJSON::array();
    for (double bitrate : QMAVPlayerPlaylistReader::bitratesInPlaylist(text)) {
        bitrates.push_back(bitrate);
    }
    QMAVPlayerPIEReporter::recordEvent(queue, "availableBitrates", QMJSON{{"bitrates", std::move(bitrates)}});
    QMJSON resolutions = QMJSON::array();
    for (const CGSize& size : QMAVPlayerPlaylistReader::resolutionsInPlaylist(text)) {
        resolutions.push_back(QMJSON{{"width", size.width}, {"height", size.height}});
    }
    if (!resolutions.empty()) {
        QMAVPlayerPIEReporter::recordEvent(queue, "availableResolutions",
                                           QMJSON{{"resolutions", std::move(resolutions)}});
    }
}

}  // namespace

QMAVPlayerPIEReporter::QMAVPlayerPIEReporter() = default;

QMAVPlayerPIEReporter::~QMAVPlayerPIEReporter() { removeObservers(); }

std::shared_ptr<QMAVPlayerPIEReporter> QMAVPlayerPIEReporter::initWithPlayer(
    std::shared_ptr<AVPlayer> player, const std::optional<std::string>& assetId,
    const std::optional<std::string>& qmrCID, const std::optional<std::string>& assetType,
    const std::optional<std::string>& assetName, const std::optional<std::string>& viewerId,
    const std::optional<QMJSON>& assetMetadata, const std::optional<QMJSON>& viewerMetadata) {
    return initWithPlayer(std::move(player),
                          QMSessionDescription{.assetId = assetId,
                                               .qmrCID = qmrCID,
                                               .assetType = assetType,
                                               .assetName = assetName,
                                               .viewerId = viewerId},
                          assetMetadata, viewerMetadata);
}

std::shared_ptr<QMAVPlayerPIEReporter> QMAVPlayerPIEReporter::initWithPlayer(
    std::shared_ptr<AVPlayer> player, const QMSessionDescription& description,
    const std::optional<QMJSON>& assetMetadata, const std::optional<QMJSON>& viewerMetadata) {
    player_ = std::move(player);
    observedItem_ = player_ ? player_->currentItem() : nullptr;
    putIfPresent(session_, "assetId", description.assetId);
    putIfPresent(session_, "qmrCID", description.qmrCID);
    putIfPresent(session_, "assetType", description.assetType);
    putIfPresent(session_, "assetName", description.assetName);
    putIfPresent(session_, "viewerId", description.viewerId);
    if (assetMetadata) {
        session_["assetMetadata"] = *assetMetadata;
    }
    if (viewerMetadata) {
        session_["viewerMetadata"] = *viewerMetadata;
    }
    const std::string temporarySessionId = QMUUID::UUIDString();
    session_["temporarySessionId"] = temporarySessionId;
    if (auto asset = urlAssetOf(observedItem_)) {
        session_["playbackURL"] = asset->URL()->absoluteString();
    }
    sessionText_.clear();
    resetProperties();
    addObservers();
    reportInitialEvents();
    parsePlaylist();
    prepareFileLoggerWithTemporarySessionId(temporarySessionId);
    return selfAs<QMAVPlayerPIEReporter>();
}

void QMAVPlayerPIEReporter::setSessionEventsURL(const std::string& url) {
    sessionEventsURL_ = QMURL::URLWithString(url);
}

void QMAVPlayerPIEReporter::setSessionId(std::optional<std::string> sessionId) {
    sessionId_ = std::move(sessionId);
    sessionText_.clear();
}

void QMAVPlayerPIEReporter::resetProperties() {
    logFollower_.resetProperties();
    if (timer_) {
        timer_->invalidate();
    }
    // The timer keeps the reporter, as a platform timer keeps its target: the plugin's tear-down
    // lets it go, yet it runs on until stopPlayback stops it.
    auto self = selfAs<QMAVPlayerPIEReporter>();
    timer_ = QMTimer::scheduledTimerWithTimeInterval(
        1.0, [self](QMTimer&) { self->timerFired(); }, true);
    lastplaybackPosition_ = -1.0;
    events_->reset();
}

void QMAVPlayerPIEReporter::addObservers() {
    if (!player_) {
        return;
    }
    observing_ = true;
    for (const char* keyPath : kPlayerKeyPaths) {
        player_->addObserver(this, keyPath, NSKeyValueObservingOptionNew, &kObservingContext);
    }
    if (!observedItem_) {
        return;
    }
    for (const char* keyPath : kItemKeyPaths) {
        observedItem_->addObserver(this, keyPath, NSKeyValueObservingOptionNew, &kObservingContext);
    }
    observeItemNotification(AVPlayerItemDidPlayToEndTimeNotification,
                            &QMAVPlayerPIEReporter::playerItemDidPlayToEndTimeNotification);
    observeItemNotification(AVPlayerItemFailedToPlayToEndTimeNotification,
                            &QMAVPlayerPIEReporter::playerItemFailedToPlayToEndTimeNotification);
    observeItemNotification(AVPlayerItemTimeJumpedNotification,
                            &QMAVPlayerPIEReporter::playerItemTimeJumpedNotification);
    observeItemNotification(AVPlayerItemPlaybackStalledNotification,
                            &QMAVPlayerPIEReporter::playerItemPlaybackStalledNotification);
    observeItemNotification(AVPlayerItemNewAccessLogEntryNotification,
                            &QMAVPlayerPIEReporter::playerItemNewAccessLogEntryNotification);
    observeItemNotification(AVPlayerItemNewErrorLogEntryNotification,
                            &QMAVPlayerPIEReporter::playerItemNewErrorLogEntryNotification);
}

void QMAVPlayerPIEReporter::observeItemNotification(
    const char* name, void (QMAVPlayerPIEReporter::*handler)(const QMNotification&)) {
    std::weak_ptr<QMAVPlayerPIEReporter> weakSelf = selfAs<QMAVPlayerPIEReporter>();
    QMNotificationCenter::defaultCenter()->addObserver(
        this, name, observedItem_.get(), [weakSelf, handler](const QMNotification& notification) {
            if (auto self = weakSelf.lock()) {
                ((*self).*handler)(notification);
            }
        });
}

void QMAVPlayerPIEReporter::removeObservers() {
    if (observing_) {
        observing_ = false;
        // From the item current now, which is not the one observed once the player has moved
        // on: its first removal then fails, and under one guard for all eight the rest are not
        // tried (the player's two went first). The observations left behind never reach a gone
        // reporter.
        const auto item = player_->currentItem();
        try {
            for (const char* keyPath : kPlayerKeyPaths) {
                player_->removeObserver(this, keyPath, &kObservingContext);
            }
            for (const char* keyPath : kItemKeyPaths) {
                if (item) {
                    item->removeObserver(this, keyPath, &kObservingContext);
                }
            }
        } catch (const QMException&) {
        }
        auto center = QMNotificationCenter::defaultCenter();
        for (const char* name : kItemNotifications) {
            center->removeObserver(this, name, item.get());
        }
    }
    if (timer_) {
        timer_->invalidate();
    }
}

void QMAVPlayerPIEReporter::reportInitialEvents() {
    log("init");
    auto item = player_ ? player_->currentItem() : nullptr;
    if (item && item->isPlaybackBufferEmpty()) {
        log("playbackBufferEmpty");
    }
    if (item && item->isPlaybackLikelyToKeepUp()) {
        log("playbackLikelyToKeepUp");
    }
}

void QMAVPlayerPIEReporter::parsePlaylist() {
    auto asset = urlAssetOf(player_ ? player_->currentItem() : nullptr);
    if (!asset) {
        return;
    }
    // The completion runs on the URL session's worker: it holds the queue, never this reporter,
    // whose last release there would tear down its observations off the main thread.
    std::shared_ptr<QMDiagnosticEventQueue> queue = events_;
    QMURLSession::sharedSession()
        ->dataTaskWithURL(
            asset->URL(),
            [queue](const std::optional<std::string>& data, const std::shared_ptr<QMHTTPURLResponse>&,
                    const std::shared_ptr<QMError>&) { recordPlaylist(*queue, data); })
        ->resume();
}

void QMAVPlayerPIEReporter::prepareFileLoggerWithTemporarySessionId(const std::string& temporarySessionId) {
    logFile_ = std::make_unique<QMAVPlayerTraceFile>(temporarySessionId);
}

void QMAVPlayerPIEReporter::stopPlayback() {
    log("stopPlayback");
    // The last post goes out at once (once the session id is known): no tick follows.
    flush();
    removeObservers();
}

void QMAVPlayerPIEReporter::log(const std::string& name) { log(name, std::nullopt); }

void QMAVPlayerPIEReporter::log(const std::string& name, const std::optional<QMJSON>& info) {
    recordEvent(*events_, name, info);
}

void QMAVPlayerPIEReporter::recordEvent(QMDiagnosticEventQueue& queue, const std::string& name,
                                        const std::optional<QMJSON>& info) {
    const auto timestamp = static_cast<int64_t>(QMClock::timeIntervalSince1970() * 1000.0);
    queue.record([&](int64_t index) {
        QMJSON record = {{"index", index}, {"timestamp", timestamp}, {"name", name}};
        if (info) {
            record["info"] = *info;
        }
        return record;
    });
}

void QMAVPlayerPIEReporter::logToFile(const std::string& text) {
    if (logFile_) {
        logFile_->logToFile(text);
    }
}

void QMAVPlayerPIEReporter::timerFired() {
    const double position = CMTimeGetSeconds(player_ ? player_->currentTime() : kCMTimeZero);
    if (position != lastplaybackPosition_) {
        lastplaybackPosition_ = position;
        log("playbackPosition", QMJSON{{"position", position}});
    }
    flush();
}

void QMAVPlayerPIEReporter::flush() {
    if (!events_->empty() && sessionId_) {
        sendPeriodicalReport();
    }
}

const std::string& QMAVPlayerPIEReporter::sessionText() {
    if (sessionText_.empty()) {
        QMJSON session = session_;
        putIfPresent(session, "sessionId", sessionId_);
        QMJSONSerialization::appendPrettyData(sessionText_, session, 1);
    }
    return sessionText_;
}

void QMAVPlayerPIEReporter::sendPeriodicalReport() {
    if (!sessionEventsURL_) {
        return;
    }
    // The pretty document {"session": ..., "events": [...]}, written around the session's kept
    // text. The events are taken before the post starts: what is recorded from now on waits for
    // the next one.
    const std::string& session = sessionText();
    const QMJSON events = events_->takeAll();
    std::string json;
    json.reserve(session.size() + 64 * events.size() + 40);
    json += "{\n  \"session\" : ";
    json += session;
    json += ",\n  \"events\" : ";
    QMJSONSerialization::appendPrettyData(json, events, 1);
    json += "\n}";
    // The document is the whole console line: written as it is rather than through a format.
    QMConsole::write(json);
    QMURLSession::sharedSession()
        ->dataTaskWithRequest(QMJSONPostRequest::requestWithURL(sessionEventsURL_, std::move(json)),
                              [](const std::optional<std::string>&, const std::shared_ptr<QMHTTPURLResponse>&,
                                 const std::shared_ptr<QMError>& error) {
                                  if (error) {
                                      QMConsoleLog("Error: %@", error->localizedDescription());
                                  }
                              })
        ->resume();
}

void QMAVPlayerPIEReporter::recordStatus(const char* eventName, long status,
                                         const std::shared_ptr<QMError>& error) {
    switch (status) {
        case 2: {
            QMJSON info = {{"status", "failed"}};
            if (error) {
                info["reason"] = error->localizedDescription();
            }
            log(eventName, info);
            break;
        }
        case 1:
            log(eventName, QMJSON{{"status", "readyToPlay"}});
            break;
        case 0:
            log(eventName, QMJSON{{"status", "unknown"}});
            break;
        default:
            break;
    }
}

void QMAVPlayerPIEReporter::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                                   const QMKeyValueChange& change, void* context) {
    if (context != &kObservingContext) {
        QMObject::observeValueForKeyPath(keyPath, object, change, context);
        return;
    }
    const auto& item = player_->currentItem();
    if (object == player_.get() && keyPath == "rate") {
        log("rate", QMJSON{{"rate", player_->rate()}});
    } else if (object == player_.get() && keyPath == "status") {
        recordStatus("playerStatus", player_->status(), player_->error());
    } else if (!item || object != item.get()) {
        return;
    } else if (keyPath == "status") {
        recordStatus("status", item->status(), item->error());
    } else if (keyPath == "duration") {
        const double seconds = CMTimeGetSeconds(item->duration());
        if (seconds == seconds) {  // an indefinite duration (a live stream) is NaN
            log("duration", QMJSON{{"duration", seconds}});
        }
    } else if (keyPath == "presentationSize") {
        const CGSize size = item->presentationSize();
        if (!CGSizeEqualToSize(size, CGSizeZero)) {
            log("presentationSize", QMJSON{{"width", size.width}, {"height", size.height}});
        }
    } else if (keyPath == "playbackBufferEmpty") {
        log(item->isPlaybackBufferEmpty() ? "playbackBufferEmpty" : "playbackBufferNotEmpty");
    } else if (keyPath == "playbackLikelyToKeepUp") {
        log(item->isPlaybackLikelyToKeepUp() ? "playbackLikelyToKeepUp" : "playbackNotLikelyToKeepUp");
    } else if (keyPath == "playbackBufferFull") {
        log(item->isPlaybackBufferFull() ? "playbackBufferFull" : "playbackBufferNotFull");
    }
}

void QMAVPlayerPIEReporter::playerItemDidPlayToEndTimeNotification(const QMNotification&) {
    log("didPlayToEndTime");
}

void QMAVPlayerPIEReporter::playerItemFailedToPlayToEndTimeNotification(const QMNotification& notification) {
    QMJSON info = QMJSON::object();
    const auto found = notification.userInfo().find(AVPlayerItemFailedToPlayToEndTimeErrorKey);
    if (found != notification.userInfo().end()) {
        if (const auto* error = std::any_cast<std::shared_ptr<QMError>>(&found->second); error && *error) {
            info["description"] = (*error)->localizedDescription();
        }
    }
    log("failedToPlayToEndTime", info);
}

void QMAVPlayerPIEReporter::playerItemTimeJumpedNotification(const QMNotification&) { log("timeJumped"); }

void QMAVPlayerPIEReporter::playerItemPlaybackStalledNotification(const QMNotification&) {
    log("playbackStalled");
}

void QMAVPlayerPIEReporter::playerItemNewAccessLogEntryNotification(const QMNotification&) {
    const auto& item = player_->currentItem();
    const auto accessLog = item ? item->accessLog() : nullptr;
    const bool hasEntry = accessLog && !accessLog->events().empty();
    followChanges(logFollower_.accessLogChanges(hasEntry ? accessLog->events().back().get() : nullptr));
}

void QMAVPlayerPIEReporter::playerItemNewErrorLogEntryNotification(const QMNotification&) {
    const auto& item = player_->currentItem();
    const auto errorLog = item ? item->errorLog() : nullptr;
    const bool hasEntry = errorLog && !errorLog->events().empty();
    followChanges(logFollower_.errorLogChanges(hasEntry ? errorLog->events().back().get() : nullptr));
}

void QMAVPlayerPIEReporter::followChanges(const std::vector<QMAVPlayerLogFollower::Change>& changes) {
    for (const auto& change : changes) {
        if (change.eventName) {
            log(*change.eventName, change.info);
        }
        logToFile(change.fileText);
    }
}

}  // namespace veyrakit
