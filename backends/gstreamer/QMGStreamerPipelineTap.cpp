#include "QMGStreamerPipelineTap.h"

#include <cstring>
#include <utility>

#include "QMGStreamerTracer.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

std::shared_ptr<QMGStreamerPipelineTap> QMGStreamerPipelineTap::tap(GstElement* pipeline,
                                                                    std::shared_ptr<QMRunLoop> loop,
                                                                    Handlers handlers) {
    auto tap = std::make_shared<QMGStreamerPipelineTap>(pipeline, std::move(loop), std::move(handlers));
    QMGStreamerTracer::install();
    QMGStreamerTracer::addTap(tap);
    return tap;
}

QMGStreamerPipelineTap::QMGStreamerPipelineTap(GstElement* pipeline, std::shared_ptr<QMRunLoop> loop,
                                               Handlers handlers)
    : pipeline_(pipeline), loop_(std::move(loop)), handlers_(std::move(handlers)) {}

QMGStreamerPipelineTap::~QMGStreamerPipelineTap() { close(); }

void QMGStreamerPipelineTap::close() {
    if (closed_) {
        return;
    }
    closed_ = true;
    QMGStreamerTracer::removeTap(this);
    handlers_ = Handlers{};
    std::lock_guard<std::mutex> lock(probesMutex_);
    for (auto& probe : probes_) {
        if (GstPad* pad = static_cast<GstPad*>(g_weak_ref_get(&probe->pad))) {
            gst_pad_remove_probe(pad, probe->id);
            gst_object_unref(pad);
        }
        g_weak_ref_clear(&probe->pad);
    }
    probes_.clear();
}

void QMGStreamerPipelineTap::deliver(std::function<void(const Handlers&)> call) {
    std::weak_ptr<QMGStreamerPipelineTap> weakSelf = weak_from_this();
    loop_->post([weakSelf, call = std::move(call)] {
        if (auto self = weakSelf.lock(); self && !self->closed_) {
            call(self->handlers_);
        }
    });
}

bool QMGStreamerPipelineTap::isWanted(GstMessage* message) const {
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_ERROR:
        case GST_MESSAGE_WARNING:
        case GST_MESSAGE_EOS:
        case GST_MESSAGE_BUFFERING:
        case GST_MESSAGE_ASYNC_DONE:
        case GST_MESSAGE_STREAM_COLLECTION:
            return true;
        case GST_MESSAGE_STATE_CHANGED:
            return GST_MESSAGE_SRC(message) == GST_OBJECT_CAST(pipeline_);
        case GST_MESSAGE_ELEMENT:
            return gst_message_has_name(message, "adaptive-streaming-statistics");
        default:
            return false;
    }
}

void QMGStreamerPipelineTap::onMessage(GstMessage* message) {
    if (!isWanted(message)) {
        return;
    }
    // The task owns a reference until it has run (or until the loop drops it unrun).
    std::shared_ptr<GstMessage> held(gst_message_ref(message), gst_message_unref);
    deliver([held](const Handlers& handlers) {
        if (handlers.message) handlers.message(held.get());
    });
}

void QMGStreamerPipelineTap::onSeek(GstEvent* event) {
    // One seek reaches every sink and travels up from each: it is the same seek by its number.
    const uint32_t seqnum = gst_event_get_seqnum(event);
    if (lastSeekSeqnum_.exchange(seqnum) == seqnum) {
        return;
    }
    gdouble rate = 1.0;
    GstFormat format = GST_FORMAT_UNDEFINED;
    GstSeekFlags flags = GST_SEEK_FLAG_NONE;
    GstSeekType startType = GST_SEEK_TYPE_NONE;
    gint64 start = 0;
    gst_event_parse_seek(event, &rate, &format, &flags, &startType, &start, nullptr, nullptr);
    const bool jumps = format == GST_FORMAT_TIME && startType == GST_SEEK_TYPE_SET && start >= 0;
    const double position = jumps ? static_cast<double>(start) / GST_SECOND : -1.0;
    deliver([position, rate](const Handlers& handlers) {
        if (handlers.seek) handlers.seek(position, rate);
    });
}

void QMGStreamerPipelineTap::onVideoCaps(GstCaps* caps) {
    const GstStructure* format = caps ? gst_caps_get_structure(caps, 0) : nullptr;
    int width = 0;
    int height = 0;
    if (!format || !gst_structure_get_int(format, "width", &width) ||
        !gst_structure_get_int(format, "height", &height)) {
        return;
    }
    // A sink inside a sink bin sees the same caps again.
    const int64_t size = (int64_t{width} << 32) | static_cast<uint32_t>(height);
    if (lastVideoSize_.exchange(size) == size) {
        return;
    }
    deliver([width, height](const Handlers& handlers) {
        if (handlers.videoSize) handlers.videoSize(width, height);
    });
}

void QMGStreamerPipelineTap::onParsebinAdded(GstElement* parsebin) {
    GstPad* sink = gst_element_get_static_pad(parsebin, "sink");
    if (!sink) {
        return;
    }
    auto* counters = new std::shared_ptr<Counters>(counters_);
    const gulong id =
        gst_pad_add_probe(sink, GST_PAD_PROBE_TYPE_BUFFER, &onDownloadedBuffer, counters,
                          [](gpointer data) { delete static_cast<std::shared_ptr<Counters>*>(data); });
    auto probe = std::make_unique<Probe>();
    g_weak_ref_init(&probe->pad, sink);
    probe->id = id;
    gst_object_unref(sink);
    std::lock_guard<std::mutex> lock(probesMutex_);
    probes_.push_back(std::move(probe));
}

GstPadProbeReturn QMGStreamerPipelineTap::onDownloadedBuffer(GstPad*, GstPadProbeInfo* info, gpointer data) {
    Counters& counters = **static_cast<std::shared_ptr<Counters>*>(data);
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    counters.bytes.fetch_add(static_cast<int64_t>(gst_buffer_get_size(buffer)), std::memory_order_relaxed);
    if (GST_BUFFER_OFFSET(buffer) == 0) {
        counters.requests.fetch_add(1, std::memory_order_relaxed);
    }
    return GST_PAD_PROBE_OK;
}

void QMGStreamerPipelineTap::onFinalized() {
    deliver([](const Handlers& handlers) {
        if (handlers.gone) handlers.gone();
    });
}

}  // namespace veyrakit
