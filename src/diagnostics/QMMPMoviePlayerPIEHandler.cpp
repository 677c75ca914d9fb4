#include "diagnostics/QMMPMoviePlayerPIEHandler.h"

#include <type_traits>
#include <utility>

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "diagnostics/QMLogShadow.h"
#include "platform/QMClock.h"
#include "platform/QMConsole.h"
#include "platform/QMFormat.h"
#include "platform/QMURLSession.h"
#include "platform/mediaplayer/QMMPMoviePlayerFinishReason.h"
#include "reporting/QMJSONPostRequest.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/platform/QMURL.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

namespace {

constexpr double kPostIntervalSeconds = 1.0;

// The value under a key of the session description; nothing leaves the key out.
void setIfPresent(QMJSON& session, const char* key, const std::optional<std::string>& value) {
    if (value) {
        session[key] = *value;
    }
}

// {"<key>": <values>} for each {"key", "values"} item. An item without values adds nothing; an
// item without a key has nowhere to go and is passed over.
QMJSON metadataDictionary(const std::optional<QMJSON>& items) {
    QMJSON dictionary = QMJSON::object();
    if (!items || !items->is_array()) {
        return dictionary;
    }
    for (const auto& item : *items) {
        if (!item.is_object() || !item.contains("key") || !item["key"].is_string()) {
            continue;
        }
        if (item.contains("values") && !item["values"].is_null()) {
            dictionary[item["key"].get<std::string>()] = item["values"];
        } else {
            dictionary.erase(item["key"].get<std::string>());
        }
    }
    return dictionary;
}

// The newest entry of a log, or nothing when there is no log or it is empty.
template <typename Log>
auto newestEvent(const std::shared_ptr<Log>& log) -> std::decay_t<decltype(log->events().back())> {
    if (!log || log->events().empty()) {
        return nullptr;
    }
    return log->events().back();
}

}  // namespace

const QMMPMoviePlayerPIEHandler::Observation QMMPMoviePlayerPIEHandler::kObservations[13] = {
    {MPMovieDurationAvailableNotification, &QMMPMoviePlayerPIEHandler::durationAvailable},
    {MPMovieMediaTypesAvailableNotification, &QMMPMoviePlayerPIEHandler::mediaTypesAvailable},
    {MPMovieNaturalSizeAvailableNotification, &QMMPMoviePlayerPIEHandler::naturalSizeAvailable},
    {MPMoviePlayerDidEnterFullscreenNotification, &QMMPMoviePlayerPIEHandler::didEnterFullscreen},
    {MPMoviePlayerDidExitFullscreenNotification, &QMMPMoviePlayerPIEHandler::didExitFullscreen},
    {MPMoviePlayerIsAirPlayVideoActiveDidChangeNotification,
     &QMMPMoviePlayerPIEHandler::airPlayVideoActiveDidChange},
    {MPMoviePlayerLoadStateDidChangeNotification, &QMMPMoviePlayerPIEHandler::loadStateDidChange},
    {MPMoviePlayerNowPlayingMovieDidChangeNotification, &QMMPMoviePlayerPIEHandler::nowPlayingMovieDidChange},
    {MPMoviePlayerPlaybackDidFinishNotification, &QMMPMoviePlayerPIEHandler::playbackDidFinish},
    {MPMoviePlayerPlaybackStateDidChangeNotification, &QMMPMoviePlayerPIEHandler::playbackStateDidChange},
    {MPMoviePlayerScalingModeDidChangeNotification, &QMMPMoviePlayerPIEHandler::scalingModeDidChange},
    {MPMovieSourceTypeAvailableNotification, &QMMPMoviePlayerPIEHandler::sourceTypeAvailable},
    {MPMoviePlayerReadyForDisplayDidChangeNotification, &QMMPMoviePlayerPIEHandler::readyForDisplayDidChange},
};

QMMPMoviePlayerPIEHandler::QMMPMoviePlayerPIEHandler(std::shared_ptr<MPMoviePlayerController> player)
    : player_(std::move(player)), plugin_(QMObjectRepository::getRepositoryInstance()->plugin()) {
    resetProperties();
}

QMMPMoviePlayerPIEHandler::~QMMPMoviePlayerPIEHandler() { plugin_.reset(); }

void QMMPMoviePlayerPIEHandler::resetProperties() {
    uri_.reset();
    address_.reset();
    addressChanges_ = 0;
    numberOfSegmentsDownloaded_ = 0;
    bytesTransfered_ = 0;
    startDate_.reset();
    sessionID_.reset();
    startOffset_ = 0.0;
    durationWatched_ = 0.0;
    droppedVideoFrames_ = 0;
    stalls_ = 0;
    segmentsDownloadDuration_ = 0.0;
    indicatedBitrate_ = 0.0;
    bitrate_ = 0.0;
    errorDate_.reset();
    errorStatusCode_ = 0;
    errorDomain_.reset();
    errorComment_.reset();
}

void QMMPMoviePlayerPIEHandler::attachHandlers() {
    // The timer holds this handler until detachHandlers invalidates it, so posting never outlives
    // the attachment nor ends before it.
    auto self = selfAs<QMMPMoviePlayerPIEHandler>();
    timer_ = QMTimer::scheduledTimerWithTimeInterval(
        kPostIntervalSeconds, [self](QMTimer&) { self->sendPeriodicalReport(); }, true);
    session_ = sessionDescription();
    eventsURL_ =
        QMDiagnosticCollectors::diagnosticEventsURLForServerHost(plugin_ ? plugin_->serverHost() : "");
    events_.reset();
    collecting_ = true;
    observePlayer();
    // Compared by equality: stalled together with another bit, or playable and playthrough OK
    // together (3), record nothing.
    const auto loadState = player_ ? player_->loadState() : MPMovieLoadStateUnknown;
    if (loadState == MPMovieLoadStateStalled) {
        log("buffer");
    } else if (loadState == MPMovieLoadStatePlayable || loadState == MPMovieLoadStatePlaythroughOK) {
        log("play");
    }
}

void QMMPMoviePlayerPIEHandler::observePlayer() {
    std::weak_ptr<QMMPMoviePlayerPIEHandler> weakSelf = selfAs<QMMPMoviePlayerPIEHandler>();
    for (const auto& observation : kObservations) {
        const Callback callback = observation.callback;
        QMNotificationCenter::defaultCenter()->addObserver(this, observation.name, player_.get(),
                                                           [weakSelf, callback](const QMNotification& n) {
                                                               if (auto self = weakSelf.lock()) {
                                                                   ((*self).*callback)(n);
                                                               }
                                                           });
    }
}

void QMMPMoviePlayerPIEHandler::detachHandlers() {
    resetProperties();
    auto center = QMNotificationCenter::defaultCenter();
    for (const auto& observation : kObservations) {
        center->removeObserver(this, observation.name, player_.get());
    }
    // Never added; removing them is harmless and kept with the others.
    center->removeObserver(this, MPMoviePlayerWillEnterFullscreenNotification, player_.get());
    center->removeObserver(this, MPMoviePlayerWillExitFullscreenNotification, player_.get());
    if (timer_) {
        timer_->invalidate();
    }
    timer_.reset();
    session_.reset();
    collecting_ = false;
    events_.reset();
}

QMJSON QMMPMoviePlayerPIEHandler::sessionDescription() const {
    QMJSON session = QMJSON::object();
    if (plugin_) {
        setIfPresent(session, "sessionId", plugin_->sessionId());
        setIfPresent(session, "assetId", plugin_->assetId());
        setIfPresent(session, "qmrCID", plugin_->qmrCID());
        setIfPresent(session, "assetType", plugin_->assetType());
        setIfPresent(session, "assetName", plugin_->assetName());
        setIfPresent(session, "viewerId", plugin_->viewerId());
    }
    session["assetMetadata"] = metadataDictionary(plugin_ ? plugin_->assetMetadata() : std::nullopt);
    session["viewerMetadata"] = metadataDictionary(plugin_ ? plugin_->viewerMetadata() : std::nullopt);
    return session;
}

void QMMPMoviePlayerPIEHandler::log(const std::string& text) {
    if (!collecting_) {
        return;
    }
    const auto timestamp = static_cast<int64_t>(QMClock::timeIntervalSince1970() * 1000.0);
    events_.record([&](int64_t index) {
        QMJSON record = QMJSON::object();
        record["timestamp"] = timestamp;
        record["name"] = text;
        record["index"] = index;
        return record;
    });
}

void QMMPMoviePlayerPIEHandler::sendPeriodicalReport() {
    if (!collecting_ || events_.empty()) {
        return;
    }
    QMJSON body = QMJSON::object();
    body["session"] = session_.value_or(QMJSON::object());
    body["events"] = events_.takeAll();
    const std::string json = QMJSONSerialization::dataWithJSONObject(body);
    QMConsoleLog("%@", json);
    auto request = QMJSONPostRequest::requestWithURL(QMURL::URLWithString(eventsURL_), json);
    // Runs on the URL session's worker: the console only, no state of this handler.
    auto task = QMURLSession::sharedSession()->dataTaskWithRequest(
        request, [](const std::optional<std::string>&, const std::shared_ptr<QMHTTPURLResponse>& response,
                    const std::shared_ptr<QMError>& error) {
            if (error) {
                QMConsoleLog("Error: %@", error->localizedDescription());
            } else {
                QMConsoleLog("Status code: %i", response ? response->statusCode() : 0L);
            }
        });
    task->resume();
}

template <typename T, typename V>
void QMMPMoviePlayerPIEHandler::follow(T& shadow, const V& value, const char* format) {
    // Plain inequality for numbers, so a NaN is reported on every check.
    if (!QMLogShadow::differs(shadow, T(value))) {
        return;
    }
    shadow = T(value);
    log(QMFormat(format, shadow));
}

void QMMPMoviePlayerPIEHandler::checkAccessLogChanges() {
    // No entry reads as an entry of nothing: strings and dates nothing, numbers zero, which is
    // what the diagnostic server has always been sent for an empty log.
    const auto event = newestEvent(player_ ? player_->accessLog() : nullptr);
    follow(uri_, event ? event->URI() : std::nullopt, "URI: %@\n");
    follow(address_, event ? event->serverAddress() : std::nullopt, "Server address: %@\n");
    follow(addressChanges_, event ? event->numberOfServerAddressChanges() : 0,
           "Number of server address changes: %li\n");
    follow(numberOfSegmentsDownloaded_, event ? event->numberOfSegmentsDownloaded() : 0,
           "Number of network read requests over WWAN: %li\n");
    follow(bytesTransfered_, event ? event->numberOfBytesTransferred() : 0, "Bytes transfered: %li\n");
    // A start date is kept, never recorded, and a new nothing does not replace the old one.
    const auto startDate = event ? event->playbackStartDate() : nullptr;
    if (startDate && QMLogShadow::differs(startDate_, startDate)) {
        startDate_ = startDate;
    }
    follow(sessionID_, event ? event->playbackSessionID() : std::nullopt, "Session ID: %@\n");
    follow(startOffset_, event ? event->playbackStartOffset() : 0.0, "Start offset: %.2f\n");
    follow(durationWatched_, event ? event->durationWatched() : 0.0, "Watched duration: %.2f\n");
    follow(droppedVideoFrames_, event ? event->numberOfDroppedVideoFrames() : 0, "Dropped frames: %li\n");
    follow(stalls_, event ? event->numberOfStalls() : 0, "Number of stalls: %li\n");
    follow(segmentsDownloadDuration_, event ? event->segmentsDownloadedDuration() : 0.0,
           "Segments download duration: %.2f\n");
    follow(indicatedBitrate_, event ? event->indicatedBitrate() : 0.0, "Indicated bitrate: %.2f\n");
    follow(bitrate_, event ? event->observedBitrate() : 0.0, "Observed bitrate: %.2f\n");
}

void QMMPMoviePlayerPIEHandler::checkErrorLogChanges() {
    const auto event = newestEvent(player_ ? player_->errorLog() : nullptr);
    // The URI, server address and session ID shadows are the access check's as well: when the two
    // logs disagree, each check records its value again.
    follow(uri_, event ? event->URI() : std::nullopt, "URI: %@\n");
    follow(address_, event ? event->serverAddress() : std::nullopt, "Server address: %@\n");
    follow(sessionID_, event ? event->playbackSessionID() : std::nullopt, "Session ID: %@\n");
    const auto date = event ? event->date() : nullptr;
    if (QMLogShadow::differs(errorDate_, date)) {
        errorDate_ = date;
    }
    follow(errorStatusCode_, event ? event->errorStatusCode() : 0, "Error status code: %ld\n");
    follow(errorDomain_, event ? event->errorDomain() : std::nullopt, "Error domain: %@\n");
    follow(errorComment_, event ? event->errorComment() : std::nullopt, "Error comment: %@\n");
}

void QMMPMoviePlayerPIEHandler::checkLogs() {
    checkAccessLogChanges();
    checkErrorLogChanges();
}

void QMMPMoviePlayerPIEHandler::durationAvailable(const QMNotification&) {
    log(QMFormat("Duration changed: %.2f\n", player_ ? player_->duration() : 0.0));
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::mediaTypesAvailable(const QMNotification&) {
    const unsigned long types = player_ ? player_->movieMediaTypes() : MPMovieMediaTypeMaskNone;
    if (types & MPMovieMediaTypeMaskAudio) {
        log("Media type is audio\n");
    }
    if (types & MPMovieMediaTypeMaskVideo) {
        log("Media type is video\n");
    }
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::naturalSizeAvailable(const QMNotification&) {
    const CGSize size = player_ ? player_->naturalSize() : CGSizeZero;
    log(QMFormat("Natural size changed: %.2fx%.2f\n", size.width, size.height));
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::didEnterFullscreen(const QMNotification&) {
    log("Did enter full screen\n");
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::didExitFullscreen(const QMNotification&) {
    log("Did exit full screen\n");
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::airPlayVideoActiveDidChange(const QMNotification&) {
    log(player_ && player_->isAirPlayVideoActive() ? "Started playing via air play\n"
                                                   : "Stopped playing via air play\n");
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::loadStateDidChange(const QMNotification&) {
    switch (player_ ? player_->loadState() : MPMovieLoadStateUnknown) {
        case MPMovieLoadStateUnknown:
            log("Load state changed to Unknown\n");
            break;
        case MPMovieLoadStatePlayable:
            log("Load state changed to Playable\n");
            break;
        case MPMovieLoadStatePlaythroughOK:
            log("Load state changed to Playthrough OK\n");
            break;
        case MPMovieLoadStateStalled:
            log("Load state changed to Stalled\n");
            break;
        default:  // combinations of the bits
            break;
    }
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::nowPlayingMovieDidChange(const QMNotification&) {
    const auto url = player_ ? player_->contentURL() : nullptr;
    log(QMFormat("Content URL changed: %@\n",
                 url ? std::optional<std::string>(url->absoluteString()) : std::nullopt));
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::playbackDidFinish(const QMNotification& notification) {
    // A missing reason reads as 0 (playback ended), the finish the diagnostic stream expects.
    switch (finishReasonOf(notification).value_or(0)) {
        case MPMovieFinishReasonPlaybackEnded:
            log("Playback did finish\n");
            break;
        case MPMovieFinishReasonPlaybackError:
            log("Playback did finish with error\n");
            break;
        case MPMovieFinishReasonUserExited:
            log("Playback did finish by user\n");
            break;
        default:
            break;
    }
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::playbackStateDidChange(const QMNotification&) {
    switch (player_ ? player_->playbackState() : MPMoviePlaybackStateStopped) {
        case MPMoviePlaybackStateStopped:
            log("Playback state channged to Stopped\n");
            break;
        case MPMoviePlaybackStatePlaying:
            log("Playback state channged to Playing\n");
            break;
        case MPMoviePlaybackStatePaused:
            log("Playback state channged to Paused\n");
            break;
        case MPMoviePlaybackStateInterrupted:
            log("Playback state channged to Interrupted\n");
            break;
        case MPMoviePlaybackStateSeekingForward:
            log("Playback state channged to Seeking Forward\n");
            break;
        case MPMoviePlaybackStateSeekingBackward:
            log("Playback state channged to Seeking Backward\n");
            break;
        default:
            break;
    }
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::scalingModeDidChange(const QMNotification&) {
    switch (player_ ? player_->scalingMode() : MPMovieScalingModeNone) {
        case MPMovieScalingModeNone:
            log("Scaling mode changed to None\n");
            break;
        case MPMovieScalingModeAspectFit:
            log("Scaling mode changed to Aspect Fit\n");
            break;
        case MPMovieScalingModeAspectFill:
            log("Scaling mode changed to Aspect Fill\n");
            break;
        case MPMovieScalingModeFill:
            log("Scaling mode changed to Fill\n");
            break;
        default:
            break;
    }
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::sourceTypeAvailable(const QMNotification&) {
    switch (player_ ? player_->movieSourceType() : MPMovieSourceTypeUnknown) {
        case MPMovieSourceTypeUnknown:
            log("Source type changed to Unkown\n");
            break;
        case MPMovieSourceTypeFile:
            log("Source type changed to File\n");
            break;
        case MPMovieSourceTypeStreaming:
            log("Source type changed to Streaming\n");
            break;
        default:
            break;
    }
    checkLogs();
}

void QMMPMoviePlayerPIEHandler::readyForDisplayDidChange(const QMNotification&) {
    log(player_ && player_->readyForDisplay() ? "Ready for display\n" : "Not ready for display\n");
    checkLogs();
}

}  // namespace veyrakit
