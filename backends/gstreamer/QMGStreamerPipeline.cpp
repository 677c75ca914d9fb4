#include "veyrakit/gstreamer/QMGStreamerPipeline.h"

#include <stdexcept>

#include "QMGStreamerMainLoopBridge.h"
#include "QMGStreamerProblem.h"
#include "veyrakit/gstreamer/QMGStreamerPipelineListener.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

namespace {

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

}  // namespace

std::shared_ptr<QMGStreamerPipeline> QMGStreamerPipeline::pipelineWithURI(
    const std::string& uri, Options options, QMGStreamerPipelineListener* listener) {
    auto pipeline = std::make_shared<QMGStreamerPipeline>(listener);
    pipeline->open(uri, options);
    return pipeline;
}

QMGStreamerPipeline::QMGStreamerPipeline(QMGStreamerPipelineListener* listener) : listener_(listener) {}

QMGStreamerPipeline::~QMGStreamerPipeline() { close(); }

void QMGStreamerPipeline::open(const std::string& uri, Options options) {
    GError* initError = nullptr;
    if (!gst_init_check(nullptr, nullptr, &initError)) {
        std::string reason = initError ? initError->message : "unknown";
        g_clear_error(&initError);
        throw std::runtime_error("QMGStreamerPipeline: GStreamer does not start: " + reason);
    }
    GstElement* element = gst_element_factory_make("playbin3", nullptr);
    if (!element) {
        throw std::runtime_error("QMGStreamerPipeline: playbin3 is not installed");
    }
    element_ = GST_ELEMENT(gst_object_ref_sink(element));
    g_object_set(element_, "uri", uri.c_str(), nullptr);
    GstElement* videoSink = nullptr;
    if (options.headless) {
        videoSink = makeFakeSink("fakevideosink");
        g_object_set(element_, "video-sink", videoSink, "audio-sink", makeFakeSink("fakeaudiosink"), nullptr);
    }

    // Tasks already posted when the pipeline goes away find nothing to call.
    std::weak_ptr<QMGStreamerPipeline> weakSelf = shared_from_this();
    bridge_ = std::make_unique<QMGStreamerMainLoopBridge>(
        QMRunLoop::mainRunLoop(),
        [weakSelf](GstMessage* message) {
            if (auto self = weakSelf.lock()) self->handleMessage(message);
        },
        [weakSelf](int width, int height) {
            if (auto self = weakSelf.lock()) self->onVideoSize(width, height);
        });
    bridge_->attach(element_, videoSink);
}

void QMGStreamerPipeline::close() {
    listener_ = nullptr;
    if (element_) {
        // Joins GStreamer's threads: after this nothing more reaches the bridge.
        gst_element_set_state(element_, GST_STATE_NULL);
        if (bridge_) bridge_->detach();
        gst_object_unref(element_);
        element_ = nullptr;
    }
}

void QMGStreamerPipeline::requestState(GstState state) {
    if (element_ && state != requested_) {
        requested_ = state;
        gst_element_set_state(element_, state);
    }
}

void QMGStreamerPipeline::seekTo(double seconds) {
    if (element_) {
        gst_element_seek_simple(element_, GST_FORMAT_TIME,
                                static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT),
                                static_cast<gint64>(seconds * GST_SECOND));
    }
}

std::optional<double> QMGStreamerPipeline::durationSeconds() const {
    gint64 duration = 0;
    if (!element_ || !gst_element_query_duration(element_, GST_FORMAT_TIME, &duration) || duration <= 0) {
        return std::nullopt;
    }
    // Whole milliseconds, as the platform's media stack reports a duration: truncated on purpose.
    const gint64 millis = duration / GST_MSECOND;
    return static_cast<double>(millis) / 1000.0;
}

void QMGStreamerPipeline::handleMessage(GstMessage* message) {
    if (!listener_) {
        return;
    }
    listener_->pipelineDownloaded(bridge_->downloadedBytes(), bridge_->mediaRequests());
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_STATE_CHANGED:
            onStateChanged(message);
            break;
        case GST_MESSAGE_ASYNC_DONE:
            listener_->pipelinePrerolled();
            break;
        case GST_MESSAGE_BUFFERING: {
            int percent = 0;
            gst_message_parse_buffering(message, &percent);
            listener_->pipelineBuffering(percent);
            break;
        }
        case GST_MESSAGE_ELEMENT:
            onStatistics(message);
            break;
        case GST_MESSAGE_STREAM_COLLECTION:
            onStreamCollection(message);
            break;
        case GST_MESSAGE_WARNING: {
            // Playback survives a warning; only failed downloads concern the drivers.
            const QMGStreamerProblem problem = QMGStreamerProblem::fromMessage(message);
            if (problem.httpStatus() != 0) listener_->pipelineHTTPWarning(problem);
            break;
        }
        case GST_MESSAGE_ERROR:
            listener_->pipelineError(QMGStreamerProblem::fromMessage(message));
            break;
        case GST_MESSAGE_EOS:
            listener_->pipelineEndOfStream();
            break;
        default:
            break;
    }
}

void QMGStreamerPipeline::onStateChanged(GstMessage* message) {
    GstState previous = GST_STATE_VOID_PENDING;
    GstState current = GST_STATE_VOID_PENDING;
    gst_message_parse_state_changed(message, &previous, &current, nullptr);
    listener_->pipelineStateReached(current);
}

void QMGStreamerPipeline::onStatistics(GstMessage* message) {
    const GstStructure* figures = gst_message_get_structure(message);
    int bitrate = 0;
    const gchar* uri = gst_structure_get_string(figures, "uri");
    // The demuxer announces a variant switch with the variant playlist and its bitrate; its other
    // statistics (the master playlist's download) carry no bitrate.
    if (!uri || !gst_structure_get_int(figures, "bitrate", &bitrate)) {
        return;
    }
    double measured = -1.0;
    GObject* demuxer = G_OBJECT(GST_MESSAGE_SRC(message));
    if (g_object_class_find_property(G_OBJECT_GET_CLASS(demuxer), "current-bandwidth")) {
        guint bandwidth = 0;
        g_object_get(demuxer, "current-bandwidth", &bandwidth, nullptr);
        measured = bandwidth > 0 ? static_cast<double>(bandwidth) : -1.0;
    }
    listener_->pipelineVariantAnnounced(uri, bitrate, measured);
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
    listener_->pipelineStreamsAnnounced(video, audio);
}

void QMGStreamerPipeline::onVideoSize(int width, int height) {
    if (listener_) {
        listener_->pipelineVideoSize(width, height);
    }
}

}  // namespace veyrakit
