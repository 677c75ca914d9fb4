#include "QMGStreamerMainLoopBridge.h"

#include <cstring>
#include <utility>

#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

QMGStreamerMainLoopBridge::QMGStreamerMainLoopBridge(std::shared_ptr<QMRunLoop> loop,
                                                     MessageHandler onMessage, VideoSizeHandler onVideoSize)
    : loop_(std::move(loop)), onMessage_(std::move(onMessage)), onVideoSize_(std::move(onVideoSize)) {}

QMGStreamerMainLoopBridge::~QMGStreamerMainLoopBridge() { detach(); }

void QMGStreamerMainLoopBridge::attach(GstElement* pipeline, GstElement* videoSink) {
    pipeline_ = pipeline;
    attached_ = true;
    GstBus* bus = gst_element_get_bus(pipeline);
    gst_bus_set_sync_handler(bus, &QMGStreamerMainLoopBridge::onBusMessage, this, nullptr);
    gst_object_unref(bus);
    elementAddedId_ = g_signal_connect(pipeline, "deep-element-added",
                                       G_CALLBACK(&QMGStreamerMainLoopBridge::onElementAdded), this);
    if (videoSink) {
        videoPad_ = gst_element_get_static_pad(videoSink, "sink");
        if (videoPad_) {
            probeId_ = gst_pad_add_probe(videoPad_, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM,
                                         &QMGStreamerMainLoopBridge::onVideoEvent, this, nullptr);
        }
    }
}

void QMGStreamerMainLoopBridge::detach() {
    if (videoPad_) {
        gst_pad_remove_probe(videoPad_, probeId_);
        gst_object_unref(videoPad_);
        videoPad_ = nullptr;
    }
    if (attached_) {
        attached_ = false;
        g_signal_handler_disconnect(pipeline_, elementAddedId_);
        GstBus* bus = gst_element_get_bus(pipeline_);
        gst_bus_set_sync_handler(bus, nullptr, nullptr, nullptr);
        gst_object_unref(bus);
    }
}

bool QMGStreamerMainLoopBridge::isWanted(GstMessage* message, GstElement* pipeline) {
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_ERROR:
        case GST_MESSAGE_WARNING:
        case GST_MESSAGE_EOS:
        case GST_MESSAGE_BUFFERING:
        case GST_MESSAGE_ASYNC_DONE:
        case GST_MESSAGE_STREAM_COLLECTION:
            return true;
        case GST_MESSAGE_STATE_CHANGED:
            return GST_MESSAGE_SRC(message) == GST_OBJECT_CAST(pipeline);
        case GST_MESSAGE_ELEMENT:
            return gst_message_has_name(message, "adaptive-streaming-statistics");
        default:
            return false;
    }
}

GstBusSyncReply QMGStreamerMainLoopBridge::onBusMessage(GstBus*, GstMessage* message, gpointer data) {
    auto* self = static_cast<QMGStreamerMainLoopBridge*>(data);
    if (isWanted(message, self->pipeline_)) {
        // The task owns a reference until it has run (or until the loop drops it unrun).
        std::shared_ptr<GstMessage> held(gst_message_ref(message), gst_message_unref);
        self->loop_->post([handler = self->onMessage_, held] { handler(held.get()); });
    }
    return GST_BUS_DROP;
}

GstPadProbeReturn QMGStreamerMainLoopBridge::onVideoEvent(GstPad*, GstPadProbeInfo* info, gpointer data) {
    GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
    if (GST_EVENT_TYPE(event) != GST_EVENT_CAPS) {
        return GST_PAD_PROBE_OK;
    }
    GstCaps* caps = nullptr;
    gst_event_parse_caps(event, &caps);
    const GstStructure* format = caps ? gst_caps_get_structure(caps, 0) : nullptr;
    int width = 0;
    int height = 0;
    if (format && gst_structure_get_int(format, "width", &width) &&
        gst_structure_get_int(format, "height", &height)) {
        auto* self = static_cast<QMGStreamerMainLoopBridge*>(data);
        self->loop_->post([handler = self->onVideoSize_, width, height] { handler(width, height); });
    }
    return GST_PAD_PROBE_OK;
}

bool QMGStreamerMainLoopBridge::takesDownloads(GstElement* element) {
    GstElementFactory* factory = gst_element_get_factory(element);
    if (!factory || std::strcmp(GST_OBJECT_NAME(factory), "parsebin") != 0) {
        return false;
    }
    GstObject* parent = gst_object_get_parent(GST_OBJECT_CAST(element));
    if (!parent) {
        return false;
    }
    bool fed = false;
    if (GstElementFactory* parentFactory = gst_element_get_factory(GST_ELEMENT_CAST(parent))) {
        const gchar* klass = gst_element_factory_get_metadata(parentFactory, GST_ELEMENT_METADATA_KLASS);
        fed = std::strcmp(GST_OBJECT_NAME(parentFactory), "urisourcebin") == 0 ||
              (klass && std::strstr(klass, "Demuxer/Adaptive"));
    }
    gst_object_unref(parent);
    return fed;
}

void QMGStreamerMainLoopBridge::onElementAdded(GstBin*, GstBin*, GstElement* element, gpointer data) {
    if (!takesDownloads(element)) {
        return;
    }
    if (GstPad* sink = gst_element_get_static_pad(element, "sink")) {
        gst_pad_add_probe(sink, GST_PAD_PROBE_TYPE_BUFFER, &QMGStreamerMainLoopBridge::onDownloadedBuffer,
                          data, nullptr);
        gst_object_unref(sink);
    }
}

GstPadProbeReturn QMGStreamerMainLoopBridge::onDownloadedBuffer(GstPad*, GstPadProbeInfo* info,
                                                                gpointer data) {
    auto* self = static_cast<QMGStreamerMainLoopBridge*>(data);
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    self->downloadedBytes_.fetch_add(static_cast<int64_t>(gst_buffer_get_size(buffer)),
                                     std::memory_order_relaxed);
    if (GST_BUFFER_OFFSET(buffer) == 0) {
        self->mediaRequests_.fetch_add(1, std::memory_order_relaxed);
    }
    return GST_PAD_PROBE_OK;
}

}  // namespace veyrakit
