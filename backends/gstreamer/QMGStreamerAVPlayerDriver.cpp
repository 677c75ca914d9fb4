#include "QMGStreamerAVPlayerDriver.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "QMGStreamerMainLoopBridge.h"
#include "platform/QMDate.h"
#include "platform/QMError.h"
#include "platform/QMNotificationCenter.h"
#include "platform/QMRunLoop.h"
#include "platform/QMURL.h"
#include "platform/avfoundation/AVError.h"
#include "platform/avfoundation/AVPlayerItemAccessLogEvent.h"
#include "platform/avfoundation/AVPlayerItemErrorLogEvent.h"
#include "platform/avfoundation/AVPlayerItemNotifications.h"
#include "platform/avfoundation/AVURLAsset.h"

namespace {

// The domain the platform's media stack logs loading failures under.
constexpr const char* kCoreMediaErrorDomain = "CoreMediaErrorDomain";

std::string assetURL(const std::shared_ptr<AVPlayer>& player) {
    const auto& item = player ? player->currentItem() : nullptr;
    auto asset = item ? std::dynamic_pointer_cast<AVURLAsset>(item->asset()) : nullptr;
    if (!asset || !asset->URL()) {
        throw std::runtime_error("QMGStreamerAVPlayerDriver: the player's current item has no URL asset");
    }
    return asset->URL()->absoluteString();
}

GstElement* makeFakeSink(const char* factory) {
    GstElement* sink = gst_element_factory_make(factory, nullptr);
    if (!sink) {
        sink = gst_element_factory_make("fakesink", nullptr);
    }
    if (sink) {
        g_object_set(sink, "sync", TRUE, nullptr);
    }
    return sink;
}

// The HTTP status a download failure carries in the message's details, or 0.
unsigned httpStatus(const GstStructure* details) {
    unsigned status = 0;
    if (details) {
        gst_structure_get_uint(details, "http-status-code", &status);
    }
    return status;
}

struct ParsedProblem {
    std::string message;
    std::string debug;
    bool streamError = false;
    unsigned httpStatus = 0;
};

ParsedProblem parseProblem(GstMessage* message) {
    GError* error = nullptr;
    gchar* debug = nullptr;
    const GstStructure* details = nullptr;
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        gst_message_parse_error(message, &error, &debug);
        gst_message_parse_error_details(message, &details);
    } else {
        gst_message_parse_warning(message, &error, &debug);
        gst_message_parse_warning_details(message, &details);
    }
    ParsedProblem problem;
    problem.message = error && error->message ? error->message : "";
    problem.debug = debug ? debug : "";
    problem.streamError = error && error->domain == GST_STREAM_ERROR;
    problem.httpStatus = httpStatus(details);
    g_clear_error(&error);
    g_free(debug);
    return problem;
}

std::string commentFor(const ParsedProblem& problem) {
    if (problem.debug.empty()) return problem.message;
    if (problem.message.empty()) return problem.debug;
    return problem.message + " (" + problem.debug + ")";
}

int64_t nowMicros() { return QMRunLoop::mainRunLoop()->nowMicros(); }

}  // namespace

std::shared_ptr<QMGStreamerAVPlayerDriver> QMGStreamerAVPlayerDriver::driverWithPlayer(
    std::shared_ptr<AVPlayer> player, Options options) {
    auto driver = std::make_shared<QMGStreamerAVPlayerDriver>(std::move(player), options);
    driver->start();
    return driver;
}

std::shared_ptr<QMGStreamerAVPlayerDriver> QMGStreamerAVPlayerDriver::driverWithPlayer(
    std::shared_ptr<AVPlayer> player) {
    return driverWithPlayer(std::move(player), Options{});
}

QMGStreamerAVPlayerDriver::QMGStreamerAVPlayerDriver(std::shared_ptr<AVPlayer> player, Options options)
    : player_(std::move(player)),
      item_(player_ ? player_->currentItem() : nullptr),
      url_(assetURL(player_)),
      options_(options) {}

QMGStreamerAVPlayerDriver::~QMGStreamerAVPlayerDriver() { finish(); }

void QMGStreamerAVPlayerDriver::start() {
    GError* initError = nullptr;
    if (!gst_init_check(nullptr, nullptr, &initError)) {
        std::string reason = initError ? initError->message : "unknown";
        g_clear_error(&initError);
        throw std::runtime_error("QMGStreamerAVPlayerDriver: GStreamer does not start: " + reason);
    }
    pipeline_ = gst_element_factory_make("playbin3", nullptr);
    if (!pipeline_) {
        throw std::runtime_error("QMGStreamerAVPlayerDriver: playbin3 is not installed");
    }
    gst_object_ref_sink(pipeline_);
    g_object_set(pipeline_, "uri", url_.c_str(), nullptr);
    GstElement* videoSink = nullptr;
    if (options_.headless) {
        videoSink = makeFakeSink("fakevideosink");
        g_object_set(pipeline_, "video-sink", videoSink, "audio-sink", makeFakeSink("fakeaudiosink"),
                     nullptr);
    }

    std::weak_ptr<QMGStreamerAVPlayerDriver> weakSelf = selfAs<QMGStreamerAVPlayerDriver>();
    bridge_ = std::make_unique<QMGStreamerMainLoopBridge>(
        QMRunLoop::mainRunLoop(),
        [weakSelf](GstMessage* message) {
            if (auto self = weakSelf.lock()) self->handleMessage(message);
        },
        [weakSelf](int width, int height) {
            if (auto self = weakSelf.lock()) self->handleVideoSize(width, height);
        });
    bridge_->attach(pipeline_, videoSink);

    player_->addObserver(this, "rate", NSKeyValueObservingOptionNew, nullptr);
    QMNotificationCenter::defaultCenter()->addObserver(this, AVPlayerItemTimeJumpedNotification, item_.get(),
                                                       [weakSelf](const QMNotification&) {
                                                           if (auto self = weakSelf.lock())
                                                               self->onTimeJumped();
                                                       });
    observing_ = true;
    startMicros_ = nowMicros();
    applyState();
}

void QMGStreamerAVPlayerDriver::stop() {
    if (!over_) {
        over_ = true;
        closeAccessLogEvent();
    }
    finish();
}

void QMGStreamerAVPlayerDriver::finish() {
    if (observing_) {
        observing_ = false;
        player_->removeObserver(this, "rate");
        QMNotificationCenter::defaultCenter()->removeObserver(this, AVPlayerItemTimeJumpedNotification);
    }
    if (pipeline_) {
        // Joins GStreamer's threads: after this nothing more reaches the bridge.
        gst_element_set_state(pipeline_, GST_STATE_NULL);
        if (bridge_) bridge_->detach();
        gst_object_unref(pipeline_);
        pipeline_ = nullptr;
    }
}

void QMGStreamerAVPlayerDriver::observeValueForKeyPath(const std::string& keyPath, QMObject*,
                                                       const QMKeyValueChange&, void*) {
    if (keyPath == "rate") {
        applyState();
    }
}

void QMGStreamerAVPlayerDriver::applyState() {
    if (over_ || !pipeline_) {
        return;
    }
    const GstState wanted =
        ready_ && !buffering_ && player_->rate() > 0 ? GST_STATE_PLAYING : GST_STATE_PAUSED;
    if (wanted != requested_) {
        requested_ = wanted;
        gst_element_set_state(pipeline_, wanted);
    }
}

void QMGStreamerAVPlayerDriver::handleMessage(GstMessage* message) {
    if (over_) {
        return;
    }
    refreshTransfers();
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_STATE_CHANGED:
            onStateChanged(message);
            break;
        case GST_MESSAGE_ASYNC_DONE:
            prerolled_ = true;
            becomeReadyIfLoaded();
            break;
        case GST_MESSAGE_BUFFERING: {
            int percent = 0;
            gst_message_parse_buffering(message, &percent);
            onBuffering(percent);
            break;
        }
        case GST_MESSAGE_ELEMENT:
            onStatistics(message);
            break;
        case GST_MESSAGE_WARNING:
            onWarning(message);
            break;
        case GST_MESSAGE_ERROR:
            onError(message);
            break;
        case GST_MESSAGE_EOS:
            onEndOfStream();
            break;
        default:
            break;
    }
}

void QMGStreamerAVPlayerDriver::onStateChanged(GstMessage* message) {
    GstState previous = GST_STATE_VOID_PENDING;
    GstState current = GST_STATE_VOID_PENDING;
    gst_message_parse_state_changed(message, &previous, &current, nullptr);
    if (current == GST_STATE_PLAYING && !started_) {
        startPlayback();
    }
}

void QMGStreamerAVPlayerDriver::onBuffering(int percent) {
    const bool buffering = percent < 100;
    if (buffering == buffering_) {
        return;
    }
    buffering_ = buffering;
    if (started_) {
        buffering ? beginStall() : endStall();
    } else {
        becomeReadyIfLoaded();
    }
    applyState();
}

void QMGStreamerAVPlayerDriver::becomeReadyIfLoaded() {
    if (ready_ || !prerolled_ || buffering_) {
        return;
    }
    ready_ = true;
    readyMicros_ = nowMicros();
    player_->setStatus(AVPlayerStatusReadyToPlay);
    item_->setStatus(AVPlayerItemStatusReadyToPlay);
    gint64 duration = 0;
    const bool known = gst_element_query_duration(pipeline_, GST_FORMAT_TIME, &duration) && duration > 0;
    item_->setDuration(known ? CMTimeMake(duration / GST_MSECOND, 1000) : kCMTimeIndefinite);
    if (videoSize_) {
        item_->setPresentationSize(*videoSize_);
    }
    item_->setPlaybackBufferEmpty(false);
    item_->setPlaybackLikelyToKeepUp(true);
    applyState();
}

void QMGStreamerAVPlayerDriver::startPlayback() {
    started_ = true;
    openAccessLogEvent();
}

void QMGStreamerAVPlayerDriver::beginStall() {
    item_->setPlaybackBufferFull(false);
    item_->setPlaybackLikelyToKeepUp(false);
    item_->setPlaybackBufferEmpty(true);
    if (currentEvent_) {
        currentEvent_->setNumberOfStalls(currentEvent_->numberOfStalls() + 1);
    }
    if (player_->rate() > 0) {
        item_->postPlaybackStalled();
    }
}

void QMGStreamerAVPlayerDriver::endStall() {
    item_->setPlaybackBufferEmpty(false);
    item_->setPlaybackLikelyToKeepUp(true);
}

void QMGStreamerAVPlayerDriver::onStatistics(GstMessage* message) {
    const GstStructure* figures = gst_message_get_structure(message);
    int bitrate = 0;
    const gchar* uri = gst_structure_get_string(figures, "uri");
    // The demuxer announces a variant switch with the variant playlist and its bitrate; its other
    // statistics (the master playlist's download) carry no bitrate.
    if (!uri || !gst_structure_get_int(figures, "bitrate", &bitrate)) {
        return;
    }
    GObject* demuxer = G_OBJECT(GST_MESSAGE_SRC(message));
    if (g_object_class_find_property(G_OBJECT_GET_CLASS(demuxer), "current-bandwidth")) {
        guint bandwidth = 0;
        g_object_get(demuxer, "current-bandwidth", &bandwidth, nullptr);
        observedBitrate_ = bandwidth > 0 ? static_cast<double>(bandwidth) : -1.0;
    }
    const bool switched = variantURI_ != std::string(uri);
    variantURI_ = uri;
    variantBitrate_ = bitrate;
    if (started_ && switched) {
        closeAccessLogEvent();
        openAccessLogEvent();
    }
}

void QMGStreamerAVPlayerDriver::handleVideoSize(int width, int height) {
    if (over_) {
        return;
    }
    videoSize_ = CGSizeMake(width, height);
    if (ready_) {
        item_->setPresentationSize(*videoSize_);
    }
}

void QMGStreamerAVPlayerDriver::openAccessLogEvent() {
    auto event = std::make_shared<AVPlayerItemAccessLogEvent>();
    const bool first = !item_->accessLog();
    event->setURI(variantURI_.value_or(url_));
    event->setServerAddress(QMURL::URLWithString(url_)->host());
    event->setPlaybackType(CMTIME_IS_INDEFINITE(item_->duration())   ? "LIVE"
                           : url_.find(".m3u8") != std::string::npos ? "VOD"
                                                                     : "FILE");
    event->setPlaybackStartDate(QMDate::date());
    event->setPlaybackStartOffset(CMTimeGetSeconds(item_->currentTime()));
    event->setStartupTime(first ? static_cast<double>(readyMicros_ - startMicros_) / 1e6 : -1.0);
    event->setDurationWatched(0.0);
    event->setNumberOfStalls(0);
    event->setIndicatedBitrate(variantBitrate_);
    event->setObservedBitrate(observedBitrate_);
    event->setSwitchBitrate(first ? -1.0 : observedBitrate_);
    if (!first) {
        // What the previous event was closed with is its own; this one counts from there.
        eventBytesBase_ = countedBytes_;
        eventRequestsBase_ = countedRequests_;
    }
    currentEvent_ = event;
    refreshTransfers();
    item_->addAccessLogEvent(std::move(event));
}

void QMGStreamerAVPlayerDriver::refreshTransfers() {
    if (!currentEvent_ || !bridge_) {
        return;
    }
    countedBytes_ = bridge_->downloadedBytes();
    countedRequests_ = bridge_->mediaRequests();
    currentEvent_->setNumberOfBytesTransferred(countedBytes_ - eventBytesBase_);
    currentEvent_->setNumberOfMediaRequests(static_cast<long>(countedRequests_ - eventRequestsBase_));
}

void QMGStreamerAVPlayerDriver::closeAccessLogEvent() {
    refreshTransfers();
    if (currentEvent_) {
        const double watched = CMTimeGetSeconds(item_->currentTime()) - currentEvent_->playbackStartOffset();
        currentEvent_->setDurationWatched(std::max(0.0, watched));
    }
}

void QMGStreamerAVPlayerDriver::logError(long statusCode, const std::string& domain,
                                         const std::optional<std::string>& comment) {
    auto event = std::make_shared<AVPlayerItemErrorLogEvent>();
    event->setDate(QMDate::date());
    event->setURI(variantURI_.value_or(url_));
    event->setServerAddress(QMURL::URLWithString(url_)->host());
    event->setErrorStatusCode(statusCode);
    event->setErrorDomain(domain);
    event->setErrorComment(comment);
    item_->addErrorLogEvent(std::move(event));
}

void QMGStreamerAVPlayerDriver::onWarning(GstMessage* message) {
    // Playback survives a warning; only failed downloads belong in the error log.
    const ParsedProblem problem = parseProblem(message);
    if (problem.httpStatus != 0) {
        logError(problem.httpStatus, kCoreMediaErrorDomain, commentFor(problem));
    }
}

void QMGStreamerAVPlayerDriver::onError(GstMessage* message) {
    const ParsedProblem problem = parseProblem(message);
    long code = AVErrorUnknown;
    if (problem.httpStatus != 0) {
        code = AVErrorServerIncorrectlyConfigured;
    } else if (problem.streamError) {
        code = AVErrorFileFormatNotRecognized;
    }
    logError(problem.httpStatus != 0 ? static_cast<long>(problem.httpStatus) : code, kCoreMediaErrorDomain,
             commentFor(problem));
    over_ = true;
    closeAccessLogEvent();
    auto error = QMError::errorWithDomain(
        AVFoundationErrorDomain, code,
        problem.message.empty() ? "The operation could not be completed" : problem.message);
    item_->setError(error);
    item_->setStatus(AVPlayerItemStatusFailed);
    if (started_) {
        item_->postFailedToPlayToEndTime(error);
    }
    player_->setRate(0.0f);
    finish();
}

void QMGStreamerAVPlayerDriver::onEndOfStream() {
    over_ = true;
    closeAccessLogEvent();
    // The rate is zero by the time the end is announced, so that observers see a finished player.
    player_->setRate(0.0f);
    item_->postDidPlayToEndTime();
    finish();
}

void QMGStreamerAVPlayerDriver::onTimeJumped() {
    if (over_ || !pipeline_) {
        return;
    }
    const double seconds = CMTimeGetSeconds(item_->currentTime());
    gst_element_seek_simple(pipeline_, GST_FORMAT_TIME,
                            static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT),
                            static_cast<gint64>(seconds * GST_SECOND));
}
