#include "QMGStreamerTracer.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include "QMGStreamerPipelineTap.h"

namespace veyrakit {

namespace {

// The taps of the attached pipelines. Hooks run on every thread of every pipeline in the process:
// with no tap they return after one atomic load.
struct Registry {
    std::mutex mutex;
    std::vector<std::shared_ptr<QMGStreamerPipelineTap>> taps;
    std::atomic<std::size_t> count{0};
    QMGStreamerTracer::PlaybinHandler playbinHandler;
    std::atomic<bool> watchingPlaybins{false};
    // The instance whose hooks count; another one (GST_TRACERS naming the plugin in a process
    // that also attaches) stays silent.
    std::atomic<GObject*> active{nullptr};
};

// Never destroyed: GStreamer may call a hook during static destruction.
Registry& registry() {
    static auto* instance = new Registry;
    return *instance;
}

std::shared_ptr<QMGStreamerPipelineTap> tapOf(const void* pipeline) {
    Registry& r = registry();
    if (r.count.load(std::memory_order_acquire) == 0 || !pipeline) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(r.mutex);
    for (const auto& tap : r.taps) {
        if (tap->pipeline() == pipeline) return tap;
    }
    return nullptr;
}

// The tap of the pipeline `object` belongs to, found by walking up its parents.
std::shared_ptr<QMGStreamerPipelineTap> tapAbove(GstObject* object) {
    if (registry().count.load(std::memory_order_acquire) == 0 || !object) {
        return nullptr;
    }
    gst_object_ref(object);
    while (object) {
        if (auto tap = tapOf(object)) {
            gst_object_unref(object);
            return tap;
        }
        GstObject* parent = gst_object_get_parent(object);
        gst_object_unref(object);
        object = parent;
    }
    return nullptr;
}

bool counts(GObject* tracer) { return registry().active.load(std::memory_order_relaxed) == tracer; }

void onMessagePosted(GObject* tracer, GstClockTime, GstElement* element, GstMessage* message) {
    // What reaches the app's bus is what the pipeline itself posts (its children's messages are
    // posted again by each bin on the way up).
    if (counts(tracer)) {
        if (auto tap = tapOf(element)) tap->onMessage(message);
    }
}

bool isAdaptiveDemuxer(GstElement* element) {
    GstElementFactory* factory = element ? gst_element_get_factory(element) : nullptr;
    const gchar* klass =
        factory ? gst_element_factory_get_metadata(factory, GST_ELEMENT_METADATA_KLASS) : nullptr;
    return klass && std::strstr(klass, "Demuxer/Adaptive");
}

void onCapsPushed(GstPad* pad, GstEvent* event) {
    GstCaps* caps = nullptr;
    gst_event_parse_caps(event, &caps);
    const GstStructure* format = caps ? gst_caps_get_structure(caps, 0) : nullptr;
    if (!format) {
        return;
    }
    if (GstElement* sender = gst_pad_get_parent_element(pad)) {
        const bool demuxed = isAdaptiveDemuxer(sender);
        gst_object_unref(sender);
        if (demuxed) {
            if (auto tap = tapAbove(GST_OBJECT_CAST(pad))) tap->onDemuxerCaps(pad, caps);
            return;
        }
    }
    if (!gst_structure_has_name(format, "video/x-raw")) {
        return;
    }
    // The picture size that reaches a sink (or a sink bin) is the one shown.
    GstPad* peer = gst_pad_get_peer(pad);
    GstElement* receiver = peer ? gst_pad_get_parent_element(peer) : nullptr;
    if (receiver && GST_OBJECT_FLAG_IS_SET(receiver, GST_ELEMENT_FLAG_SINK)) {
        if (auto tap = tapAbove(GST_OBJECT_CAST(receiver))) tap->onVideoCaps(peer, caps);
    }
    if (receiver) gst_object_unref(receiver);
    if (peer) gst_object_unref(peer);
}

void onEventPushed(GObject* tracer, GstClockTime, GstPad* pad, GstEvent* event) {
    if (!counts(tracer) || registry().count.load(std::memory_order_acquire) == 0) {
        return;
    }
    if (GST_EVENT_TYPE(event) == GST_EVENT_SEEK) {
        if (auto tap = tapAbove(GST_OBJECT_CAST(pad))) tap->onSeek(event);
    } else if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
        onCapsPushed(pad, event);
    }
}

// A parsebin whose input is what was downloaded: in a source bin or an adaptive demuxer.
bool takesDownloads(GstBin* bin, GstElement* element) {
    GstElementFactory* factory = gst_element_get_factory(element);
    if (!factory || std::strcmp(GST_OBJECT_NAME(factory), "parsebin") != 0) {
        return false;
    }
    GstElementFactory* binFactory = gst_element_get_factory(GST_ELEMENT_CAST(bin));
    if (!binFactory) {
        return false;
    }
    const gchar* klass = gst_element_factory_get_metadata(binFactory, GST_ELEMENT_METADATA_KLASS);
    return std::strcmp(GST_OBJECT_NAME(binFactory), "urisourcebin") == 0 ||
           (klass && std::strstr(klass, "Demuxer/Adaptive"));
}

void onElementAdded(GObject* tracer, GstClockTime, GstBin* bin, GstElement* element, gboolean added) {
    if (!added || !counts(tracer) || registry().count.load(std::memory_order_acquire) == 0) {
        return;
    }
    if (takesDownloads(bin, element)) {
        if (auto tap = tapAbove(GST_OBJECT_CAST(bin))) tap->onParsebinAdded(element);
    } else if (isAdaptiveDemuxer(element)) {
        if (auto tap = tapAbove(GST_OBJECT_CAST(bin))) tap->onAdaptiveDemuxerAdded(element);
    }
}

void onObjectDestroyed(GObject* tracer, GstClockTime, GstObject* object) {
    if (!counts(tracer)) {
        return;
    }
    if (auto tap = tapOf(object)) {
        QMGStreamerTracer::removeTap(tap.get());
        tap->onFinalized();
    }
}

void onElementNew(GObject* tracer, GstClockTime, GstElement* element) {
    Registry& r = registry();
    if (!counts(tracer) || !r.watchingPlaybins.load(std::memory_order_acquire)) {
        return;
    }
    GstElementFactory* factory = gst_element_get_factory(element);
    if (!factory) {
        return;
    }
    const char* name = GST_OBJECT_NAME(factory);
    if (std::strcmp(name, "playbin3") != 0 && std::strcmp(name, "playbin") != 0) {
        return;
    }
    QMGStreamerTracer::PlaybinHandler handler;
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        handler = r.playbinHandler;
    }
    if (handler) handler(element);
}

}  // namespace

struct VeyraKitTracer {
    GstTracer parent;
};

struct VeyraKitTracerClass {
    GstTracerClass parentClass;
};

G_DEFINE_TYPE(VeyraKitTracer, veyrakit_tracer, GST_TYPE_TRACER)

static void veyrakit_tracer_class_init(VeyraKitTracerClass*) {}

static void veyrakit_tracer_init(VeyraKitTracer* self) {
    GObject* expected = nullptr;
    registry().active.compare_exchange_strong(expected, G_OBJECT(self));
    GstTracer* tracer = GST_TRACER(self);
    gst_tracing_register_hook(tracer, "element-post-message-pre", G_CALLBACK(&onMessagePosted));
    gst_tracing_register_hook(tracer, "pad-push-event-pre", G_CALLBACK(&onEventPushed));
    gst_tracing_register_hook(tracer, "bin-add-post", G_CALLBACK(&onElementAdded));
    gst_tracing_register_hook(tracer, "object-destroyed", G_CALLBACK(&onObjectDestroyed));
    gst_tracing_register_hook(tracer, "element-new", G_CALLBACK(&onElementNew));
}

GType QMGStreamerTracer::type() { return veyrakit_tracer_get_type(); }

void QMGStreamerTracer::install() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (registry().active.load() == nullptr) {
            // Kept for the life of the process: GStreamer's tracing keeps its hooks.
            g_object_new(type(), nullptr);
        }
    });
}

void QMGStreamerTracer::addTap(const std::shared_ptr<QMGStreamerPipelineTap>& tap) {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.taps.push_back(tap);
    r.count.store(r.taps.size(), std::memory_order_release);
}

void QMGStreamerTracer::removeTap(const QMGStreamerPipelineTap* tap) {
    std::shared_ptr<QMGStreamerPipelineTap> removed;  // released after the lock
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto found = std::find_if(r.taps.begin(), r.taps.end(), [tap](const auto& t) { return t.get() == tap; });
    if (found != r.taps.end()) {
        removed = std::move(*found);
        r.taps.erase(found);
        r.count.store(r.taps.size(), std::memory_order_release);
    }
}

void QMGStreamerTracer::setPlaybinHandler(PlaybinHandler handler) {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.playbinHandler = std::move(handler);
    r.watchingPlaybins.store(static_cast<bool>(r.playbinHandler), std::memory_order_release);
}

}  // namespace veyrakit
