#include "veyrakit/gstreamer/QMGStreamerPipeline.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "QMGStreamerPipelineTap.h"
#include "QMGStreamerProblem.h"
#include "veyrakit/gstreamer/QMGStreamerPipelineListener.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

namespace {

void initialiseGStreamer() {
    GError* initError = nullptr;
    if (!gst_init_check(nullptr, nullptr, &initError)) {
        std::string reason = initError ? initError->message : "unknown";
        g_clear_error(&initError);
        throw std::runtime_error("QMGStreamerPipeline: GStreamer does not start: " + reason);
    }
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

bool isPlaybin(GstElement* element) {
    GstElementFactory* factory = element ? gst_element_get_factory(element) : nullptr;
    if (!factory) {
        return false;
    }
    const char* name = GST_OBJECT_NAME(factory);
    return std::strcmp(name, "playbin3") == 0 || std::strcmp(name, "playbin") == 0;
}

}  // namespace

std::shared_ptr<QMGStreamerPipeline> QMGStreamerPipeline::attach(GstElement* element) {
    if (!isPlaybin(element)) {
        throw std::invalid_argument(
            "QMGStreamerPipeline: the element to follow is not a playbin3 or a playbin");
    }
    auto pipeline = std::make_shared<QMGStreamerPipeline>(element, nullptr);
    pipeline->open();
    return pipeline;
}

std::shared_ptr<QMGStreamerPipeline> QMGStreamerPipeline::build(const std::string& uri, Options options) {
    initialiseGStreamer();
    GstElement* element = gst_element_factory_make("playbin3", nullptr);
    if (!element) {
        throw std::runtime_error("QMGStreamerPipeline: playbin3 is not installed");
    }
    gst_object_ref_sink(element);
    g_object_set(element, "uri", uri.c_str(), nullptr);
    if (options.headless) {
        g_object_set(element, "video-sink", makeFakeSink("fakevideosink"), "audio-sink",
                     makeFakeSink("fakeaudiosink"), nullptr);
    }
    auto pipeline = std::make_shared<QMGStreamerPipeline>(element, element);
    pipeline->open();
    return pipeline;
}

QMGStreamerPipeline::QMGStreamerPipeline(GstElement* element, GstElement* owned) : owned_(owned) {
    g_weak_ref_init(&element_, element);
}

QMGStreamerPipeline::~QMGStreamerPipeline() {
    close();
    g_weak_ref_clear(&element_);
}

void QMGStreamerPipeline::open() {
    GstElement* element = this->element();
    // Tasks already posted when the pipeline goes away find nothing to call.
    std::weak_ptr<QMGStreamerPipeline> weakSelf = shared_from_this();
    QMGStreamerPipelineTap::Handlers handlers;
    handlers.message = [weakSelf](GstMessage* message, QMGStreamerCause cause) {
        if (auto self = weakSelf.lock()) self->handleMessage(message, cause);
    };
    handlers.seek = [weakSelf](double position, double rate) {
        if (auto self = weakSelf.lock())
            self->tell([&](QMGStreamerPipelineListener& l) { l.pipelineSeeked(position, rate); });
    };
    handlers.videoSize = [weakSelf](int width, int height) {
        if (auto self = weakSelf.lock())
            self->tell([&](QMGStreamerPipelineListener& l) { l.pipelineVideoSize(width, height); });
    };
    handlers.variantShown = [weakSelf](const std::string& uri, double bitrate) {
        if (auto self = weakSelf.lock())
            self->tell([&](QMGStreamerPipelineListener& l) { l.pipelineVariantShown(uri, bitrate); });
    };
    handlers.downloaded = [weakSelf](const QMGStreamerDownloads& downloads) {
        if (auto self = weakSelf.lock())
            self->tell([&](QMGStreamerPipelineListener& l) { l.pipelineDownloaded(downloads); });
    };
    handlers.gone = [weakSelf] {
        if (auto self = weakSelf.lock()) {
            auto listeners = self->listeners_;
            self->close();
            for (auto* listener : listeners) listener->pipelineGone();
        }
    };
    tap_ = QMGStreamerPipelineTap::tap(element, QMRunLoop::mainRunLoop(), std::move(handlers));
    open_ = true;
    gst_object_unref(element);
}

GstElement* QMGStreamerPipeline::element() const {
    return static_cast<GstElement*>(g_weak_ref_get(&element_));
}

void QMGStreamerPipeline::close() {
    if (!open_) {
        return;
    }
    open_ = false;
    if (owned_) {
        // Joins GStreamer's threads: after this nothing more is posted.
        gst_element_set_state(owned_, GST_STATE_NULL);
    }
    tap_->close();
    tap_.reset();
    listeners_.clear();
    if (owned_) {
        gst_object_unref(owned_);
        owned_ = nullptr;
    }
}

void QMGStreamerPipeline::addListener(QMGStreamerPipelineListener* listener) {
    listeners_.push_back(listener);
}

void QMGStreamerPipeline::removeListener(QMGStreamerPipelineListener* listener) {
    listeners_.erase(std::remove(listeners_.begin(), listeners_.end(), listener), listeners_.end());
}

template <typename Call>
void QMGStreamerPipeline::tell(Call call) {
    // A listener may remove itself, or close the pipeline, while it hears a fact.
    const auto listeners = listeners_;
    auto self = shared_from_this();
    for (auto* listener : listeners) {
        if (std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end()) {
            call(*listener);
        }
    }
}

void QMGStreamerPipeline::requestState(GstState state) {
    if (owned_ && open_ && state != requested_) {
        requested_ = state;
        gst_element_set_state(owned_, state);
    }
}

void QMGStreamerPipeline::seekTo(double seconds) {
    if (owned_ && open_) {
        gst_element_seek_simple(owned_, GST_FORMAT_TIME,
                                static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT),
                                static_cast<gint64>(seconds * GST_SECOND));
    }
}

std::optional<std::string> QMGStreamerPipeline::uri() const {
    GstElement* element = this->element();
    if (!element) {
        return std::nullopt;
    }
    gchar* current = nullptr;
    g_object_get(element, "uri", &current, nullptr);
    if (!current) {
        g_object_get(element, "current-uri", &current, nullptr);
    }
    gst_object_unref(element);
    std::optional<std::string> uri;
    if (current) uri = current;
    g_free(current);
    return uri;
}

void QMGStreamerPipeline::announceCurrentState() {
    GstElement* element = this->element();
    if (!element || !open_) {
        if (element) gst_object_unref(element);
        return;
    }
    GstState current = GST_STATE_VOID_PENDING;
    GstState pending = GST_STATE_VOID_PENDING;
    const GstStateChangeReturn result = gst_element_get_state(element, &current, &pending, 0);
    gst_object_unref(element);
    const GstState target = pending == GST_STATE_VOID_PENDING ? current : pending;
    if (current >= GST_STATE_PAUSED && result != GST_STATE_CHANGE_ASYNC) {
        tell([](QMGStreamerPipelineListener& l) { l.pipelinePrerolled(); });
    }
    tell([current, target](QMGStreamerPipelineListener& l) { l.pipelineStateChanged(current, target); });
}

std::optional<double> QMGStreamerPipeline::positionSeconds() const {
    GstElement* element = this->element();
    if (!element) {
        return std::nullopt;
    }
    gint64 position = 0;
    const bool known = gst_element_query_position(element, GST_FORMAT_TIME, &position) && position >= 0;
    gst_object_unref(element);
    return known ? std::optional<double>(static_cast<double>(position) / GST_SECOND) : std::nullopt;
}

std::optional<double> QMGStreamerPipeline::durationSeconds() const {
    GstElement* element = this->element();
    if (!element) {
        return std::nullopt;
    }
    gint64 duration = 0;
    const bool known = gst_element_query_duration(element, GST_FORMAT_TIME, &duration) && duration > 0;
    gst_object_unref(element);
    if (!known) {
        return std::nullopt;
    }
    // Whole milliseconds, as the platform's media stack reports a duration: truncated on purpose.
    const gint64 millis = duration / GST_MSECOND;
    return static_cast<double>(millis) / 1000.0;
}

std::optional<double> QMGStreamerPipeline::playedToSeconds() const {
    if (tap_) {
        if (const auto shown = tap_->lastShownSeconds()) return shown;
    }
    return positionSeconds();
}

void QMGStreamerPipeline::handleMessage(GstMessage* message, QMGStreamerCause cause) {
    if (!open_) {
        return;
    }
    const QMGStreamerDownloads downloads = tap_->downloads();
    tell([&](QMGStreamerPipelineListener& l) { l.pipelineDownloaded(downloads); });
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_STATE_CHANGED:
            onStateChanged(message);
            break;
        case GST_MESSAGE_ASYNC_DONE:
            announceStreamsOfPlaybin2();
            tell([](QMGStreamerPipelineListener& l) { l.pipelinePrerolled(); });
            break;
        case GST_MESSAGE_BUFFERING: {
            int percent = 0;
            gst_message_parse_buffering(message, &percent);
            tell([percent](QMGStreamerPipelineListener& l) { l.pipelineBuffering(percent); });
            break;
        }
        case GST_MESSAGE_STREAM_COLLECTION:
            onStreamCollection(message);
            break;
        case GST_MESSAGE_WARNING: {
            // Playback survives a warning; only failed downloads concern the drivers.
            const QMGStreamerProblem problem = QMGStreamerProblem::fromMessage(message);
            if (problem.httpStatus() != 0) {
                tell([&](QMGStreamerPipelineListener& l) { l.pipelineHTTPWarning(problem); });
            }
            break;
        }
        case GST_MESSAGE_ERROR: {
            const QMGStreamerProblem problem = QMGStreamerProblem::fromMessage(message, cause);
            tell([&](QMGStreamerPipelineListener& l) { l.pipelineError(problem); });
            break;
        }
        case GST_MESSAGE_EOS:
            tell([](QMGStreamerPipelineListener& l) { l.pipelineEndOfStream(); });
            break;
        case GST_MESSAGE_DURATION_CHANGED:
            tell([](QMGStreamerPipelineListener& l) { l.pipelineDurationChanged(); });
            break;
        default:
            break;
    }
}

void QMGStreamerPipeline::onStateChanged(GstMessage* message) {
    GstState previous = GST_STATE_VOID_PENDING;
    GstState current = GST_STATE_VOID_PENDING;
    GstState pending = GST_STATE_VOID_PENDING;
    gst_message_parse_state_changed(message, &previous, &current, &pending);
    const GstState target = pending == GST_STATE_VOID_PENDING ? current : pending;
    tell([current, target](QMGStreamerPipelineListener& l) { l.pipelineStateChanged(current, target); });
}

void QMGStreamerPipeline::announceStreamsOfPlaybin2() {
    // playbin (unlike playbin3) posts no stream collection: it counts its streams once prerolled.
    GstElement* element = this->element();
    if (!element) {
        return;
    }
    GstElementFactory* factory = gst_element_get_factory(element);
    gint video = 0;
    gint audio = 0;
    const bool playbin2 = factory && std::strcmp(GST_OBJECT_NAME(factory), "playbin") == 0;
    if (playbin2) {
        g_object_get(element, "n-video", &video, "n-audio", &audio, nullptr);
    }
    gst_object_unref(element);
    if (playbin2) {
        tell([video, audio](QMGStreamerPipelineListener& l) {
            l.pipelineStreamsAnnounced(video > 0, audio > 0);
        });
    }
}

void QMGStreamerPipeline::onStreamCollection(GstMessage* message) {
    GstStreamCollection* collection = nullptr;
    gst_message_parse_stream_collection(message, &collection);
    if (!collection) {
        return;
    }
    bool video = false;
    bool audio = false;
    for (guint i = 0; i < gst_stream_collection_get_size(collection); ++i) {
        const GstStreamType type =
            gst_stream_get_stream_type(gst_stream_collection_get_stream(collection, i));
        video = video || (type & GST_STREAM_TYPE_VIDEO) != 0;
        audio = audio || (type & GST_STREAM_TYPE_AUDIO) != 0;
    }
    gst_object_unref(collection);
    tell([video, audio](QMGStreamerPipelineListener& l) { l.pipelineStreamsAnnounced(video, audio); });
}

}  // namespace veyrakit
