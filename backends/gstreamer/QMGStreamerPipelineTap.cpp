#include "QMGStreamerPipelineTap.h"

#include <algorithm>
#include <cstring>
#include <thread>
#include <utility>

#include "QMGStreamerReachability.h"
#include "QMGStreamerTracer.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

namespace {

// The most of a master playlist kept: a real one is a few kilobytes.
constexpr std::size_t kMaximumManifestBytes = std::size_t{2} << 20;
// How often the download figures are handed over while they grow.
constexpr int64_t kDownloadsEveryMicros = 250'000;
// How long a server behind a failed download is checked.
constexpr int kServerCheckMillis = 1'500;

}  // namespace

struct QMGStreamerPipelineTap::Shared {
    std::weak_ptr<QMGStreamerPipelineTap> tap;
    mutable std::mutex downloadsMutex;
    QMGStreamerDownloads downloads;
    std::atomic<int64_t> lastHandedOver{0};
    QMGStreamerVariantTracker tracker;
    std::atomic<bool> demuxerHasVideo{false};
    // Stream time of the last picture that reached the video sink, in nanoseconds; -1 before one.
    std::atomic<int64_t> lastShownStreamTime{-1};
};

namespace {

// Each probe's own state, alone on its pad's streaming thread.
struct DownloadProbe {
    explicit DownloadProbe(std::shared_ptr<void> state) : shared(std::move(state)) {}
    std::shared_ptr<void> shared;
    // The variant the fragment arriving now belongs to.
    std::string variant;
    int64_t lastBuffer = -1;
};
struct ManifestProbe {
    explicit ManifestProbe(std::shared_ptr<void> state) : shared(std::move(state)) {}
    std::shared_ptr<void> shared;
    std::string text;
    bool complete = false;
};
struct DemuxedProbe {
    explicit DemuxedProbe(std::shared_ptr<void> state) : shared(std::move(state)) {}
    std::shared_ptr<void> shared;
    std::atomic<int> width{0};
    std::atomic<int> height{0};
    std::atomic<bool> video{false};
};

template <typename T>
void destroy(gpointer state) {
    delete static_cast<T*>(state);
}

}  // namespace

std::shared_ptr<QMGStreamerPipelineTap> QMGStreamerPipelineTap::tap(GstElement* pipeline,
                                                                    std::shared_ptr<QMRunLoop> loop,
                                                                    Handlers handlers) {
    auto tap = std::make_shared<QMGStreamerPipelineTap>(pipeline, std::move(loop), std::move(handlers));
    tap->shared_->tap = tap;
    QMGStreamerTracer::install();
    QMGStreamerTracer::addTap(tap);
    return tap;
}

QMGStreamerPipelineTap::QMGStreamerPipelineTap(GstElement* pipeline, std::shared_ptr<QMRunLoop> loop,
                                               Handlers handlers)
    : pipeline_(pipeline),
      loop_(std::move(loop)),
      handlers_(std::move(handlers)),
      shared_(std::make_shared<Shared>()) {}

QMGStreamerPipelineTap::~QMGStreamerPipelineTap() { close(); }

void QMGStreamerPipelineTap::close() {
    std::vector<std::unique_ptr<Probe>> probes;
    {
        std::lock_guard<std::mutex> lock(probesMutex_);
        if (closed_) {
            return;
        }
        closed_ = true;
        probes.swap(probes_);
        watchedPads_.clear();
    }
    QMGStreamerTracer::removeTap(this);
    handlers_ = Handlers{};
    for (auto& probe : probes) {
        if (GstPad* pad = static_cast<GstPad*>(g_weak_ref_get(&probe->pad))) {
            gst_pad_remove_probe(pad, probe->id);
            gst_object_unref(pad);
        }
        g_weak_ref_clear(&probe->pad);
    }
}

QMGStreamerPipelineTap::Downloads QMGStreamerPipelineTap::downloads() const {
    std::lock_guard<std::mutex> lock(shared_->downloadsMutex);
    return shared_->downloads;
}

std::optional<double> QMGStreamerPipelineTap::lastShownSeconds() const {
    const int64_t streamTime = shared_->lastShownStreamTime;
    return streamTime < 0 ? std::nullopt
                          : std::optional<double>(static_cast<double>(streamTime) / GST_SECOND);
}

void QMGStreamerPipelineTap::deliver(std::function<void(const Handlers&)> call) {
    {
        std::lock_guard<std::mutex> lock(deliverMutex_);
        if (holding_) {
            heldBack_.push_back(std::move(call));
            return;
        }
    }
    std::weak_ptr<QMGStreamerPipelineTap> weakSelf = weak_from_this();
    loop_->post([weakSelf, call = std::move(call)] {
        if (auto self = weakSelf.lock(); self && !self->closed_) {
            call(self->handlers_);
        }
    });
}

void QMGStreamerPipelineTap::watch(GstPad* pad, GstPadProbeType type, GstPadProbeCallback callback,
                                   void* state, GDestroyNotify destroyState) {
    std::lock_guard<std::mutex> lock(probesMutex_);
    if (closed_ || std::find(watchedPads_.begin(), watchedPads_.end(), pad) != watchedPads_.end()) {
        destroyState(state);
        return;
    }
    auto probe = std::make_unique<Probe>();
    probe->id = gst_pad_add_probe(pad, type, callback, state, destroyState);
    g_weak_ref_init(&probe->pad, pad);
    probes_.push_back(std::move(probe));
    watchedPads_.push_back(pad);
}

bool QMGStreamerPipelineTap::isWanted(GstMessage* message) const {
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_ERROR:
        case GST_MESSAGE_WARNING:
        case GST_MESSAGE_EOS:
        case GST_MESSAGE_BUFFERING:
        case GST_MESSAGE_ASYNC_DONE:
        case GST_MESSAGE_STREAM_COLLECTION:
        case GST_MESSAGE_DURATION_CHANGED:
            return true;
        case GST_MESSAGE_STATE_CHANGED:
            return GST_MESSAGE_SRC(message) == GST_OBJECT_CAST(pipeline_);
        default:
            return false;
    }
}

void QMGStreamerPipelineTap::onMessage(GstMessage* message) {
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ELEMENT &&
        gst_message_has_name(message, "adaptive-streaming-statistics")) {
        // The demuxer's variant switch: what it downloads now, not yet what is shown.
        const GstStructure* figures = gst_message_get_structure(message);
        const gchar* uri = gst_structure_get_string(figures, "uri");
        int bitrate = 0;
        if (uri && gst_structure_get_int(figures, "bitrate", &bitrate))
            shared_->tracker.announce(uri, bitrate);
        return;
    }
    if (!isWanted(message)) {
        return;
    }
    if (std::string uri; QMGStreamerProblem::needsServerCheck(message, uri)) {
        checkServerThenDeliver(message, uri);
        return;
    }
    // The task owns a reference until it has run (or until the loop drops it unrun).
    std::shared_ptr<GstMessage> held(gst_message_ref(message), gst_message_unref);
    deliver([held](const Handlers& handlers) {
        if (handlers.message) handlers.message(held.get(), QMGStreamerCause::Unknown);
    });
}

void QMGStreamerPipelineTap::checkServerThenDeliver(GstMessage* error, const std::string& uri) {
    {
        std::lock_guard<std::mutex> lock(deliverMutex_);
        if (holding_) {
            // A second failure while the first is checked: it comes after it, unchecked.
            std::shared_ptr<GstMessage> held(gst_message_ref(error), gst_message_unref);
            heldBack_.push_back([held](const Handlers& handlers) {
                if (handlers.message) handlers.message(held.get(), QMGStreamerCause::Unknown);
            });
            return;
        }
        holding_ = true;
    }
    std::shared_ptr<GstMessage> held(gst_message_ref(error), gst_message_unref);
    std::weak_ptr<QMGStreamerPipelineTap> weakSelf = weak_from_this();
    // The check keeps to its budget: the driver hears of the failure within it.
    std::thread([weakSelf, held, uri] {
        const QMGStreamerCause cause = QMGStreamerReachability::check(uri, kServerCheckMillis);
        if (auto self = weakSelf.lock()) self->release(held, cause);
    }).detach();
}

void QMGStreamerPipelineTap::release(const std::shared_ptr<GstMessage>& error, QMGStreamerCause cause) {
    std::weak_ptr<QMGStreamerPipelineTap> weakSelf = weak_from_this();
    loop_->post([weakSelf, error, cause] {
        auto self = weakSelf.lock();
        if (!self) {
            return;
        }
        std::vector<std::function<void(const Handlers&)>> held;
        {
            std::lock_guard<std::mutex> lock(self->deliverMutex_);
            if (!self->holding_) {
                return;
            }
            self->holding_ = false;
            held.swap(self->heldBack_);
        }
        if (self->closed_) {
            return;
        }
        if (self->handlers_.message) self->handlers_.message(error.get(), cause);
        for (const auto& call : held) {
            if (self->closed_) return;
            call(self->handlers_);
        }
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

void QMGStreamerPipelineTap::onVideoCaps(GstPad* sinkPad, GstCaps* caps) {
    watch(sinkPad, GST_PAD_PROBE_TYPE_BUFFER, &onShownPicture, new std::shared_ptr<Shared>(shared_),
          &destroy<std::shared_ptr<Shared>>);
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

GstPadProbeReturn QMGStreamerPipelineTap::onShownPicture(GstPad* pad, GstPadProbeInfo* info, gpointer state) {
    Shared& shared = **static_cast<std::shared_ptr<Shared>*>(state);
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    if (!GST_BUFFER_PTS_IS_VALID(buffer)) {
        return GST_PAD_PROBE_OK;
    }
    if (GstEvent* event = gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0)) {
        const GstSegment* segment = nullptr;
        gst_event_parse_segment(event, &segment);
        const guint64 streamTime =
            gst_segment_to_stream_time(segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
        if (GST_CLOCK_TIME_IS_VALID(streamTime))
            shared.lastShownStreamTime = static_cast<int64_t>(streamTime);
        gst_event_unref(event);
    }
    if (const auto shown = shared.tracker.pictureShown(static_cast<int64_t>(GST_BUFFER_PTS(buffer)))) {
        if (auto tap = shared.tap.lock()) {
            tap->deliver([uri = shown->uri, bitrate = shown->bitrate](const Handlers& handlers) {
                if (handlers.variantShown) handlers.variantShown(uri, bitrate);
            });
        }
    }
    return GST_PAD_PROBE_OK;
}

void QMGStreamerPipelineTap::onParsebinAdded(GstElement* parsebin) {
    if (GstPad* sink = gst_element_get_static_pad(parsebin, "sink")) {
        watch(sink, GST_PAD_PROBE_TYPE_BUFFER, &onDownloadedBuffer, new DownloadProbe(shared_),
              &destroy<DownloadProbe>);
        gst_object_unref(sink);
    }
}

GstPadProbeReturn QMGStreamerPipelineTap::onDownloadedBuffer(GstPad*, GstPadProbeInfo* info, gpointer state) {
    auto& probe = *static_cast<DownloadProbe*>(state);
    Shared& shared = *static_cast<Shared*>(probe.shared.get());
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    const int64_t now = g_get_monotonic_time();
    const auto bytes = static_cast<int64_t>(gst_buffer_get_size(buffer));
    // A buffer at offset 0 starts a fragment (or a file): of the variant downloaded now.
    const bool starts = GST_BUFFER_OFFSET(buffer) == 0;
    if (starts) probe.variant = shared.tracker.downloading();
    const double took =
        starts || probe.lastBuffer < 0 ? 0.0 : static_cast<double>(now - probe.lastBuffer) / 1e6;
    probe.lastBuffer = now;
    {
        std::lock_guard<std::mutex> lock(shared.downloadsMutex);
        for (QMGStreamerTransfers* figures :
             {&shared.downloads.total, &shared.downloads.byVariant[probe.variant]}) {
            figures->bytes += bytes;
            figures->requests += starts ? 1 : 0;
            figures->transferSeconds += took;
        }
    }
    int64_t last = shared.lastHandedOver.load(std::memory_order_relaxed);
    if (now - last >= kDownloadsEveryMicros && shared.lastHandedOver.compare_exchange_strong(last, now)) {
        if (auto tap = shared.tap.lock()) {
            tap->deliver([figures = tap->downloads()](const Handlers& handlers) {
                if (handlers.downloaded) handlers.downloaded(figures);
            });
        }
    }
    return GST_PAD_PROBE_OK;
}

void QMGStreamerPipelineTap::onAdaptiveDemuxerAdded(GstElement* demuxer) {
    if (GstPad* sink = gst_element_get_static_pad(demuxer, "sink")) {
        watch(sink,
              static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
              &onManifestData, new ManifestProbe(shared_), &destroy<ManifestProbe>);
        gst_object_unref(sink);
    }
}

GstPadProbeReturn QMGStreamerPipelineTap::onManifestData(GstPad* pad, GstPadProbeInfo* info, gpointer state) {
    auto& probe = *static_cast<ManifestProbe*>(state);
    if (probe.complete) {
        return GST_PAD_PROBE_OK;
    }
    if (GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) {
        GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
        GstMapInfo map;
        if (probe.text.size() < kMaximumManifestBytes && gst_buffer_map(buffer, &map, GST_MAP_READ)) {
            probe.text.append(reinterpret_cast<const char*>(map.data),
                              std::min<std::size_t>(map.size, kMaximumManifestBytes - probe.text.size()));
            gst_buffer_unmap(buffer, &map);
        }
        return GST_PAD_PROBE_OK;
    }
    if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) != GST_EVENT_EOS) {
        return GST_PAD_PROBE_OK;
    }
    probe.complete = true;
    std::string uri;
    GstQuery* query = gst_query_new_uri();
    if (gst_pad_peer_query(pad, query)) {
        gchar* found = nullptr;
        gst_query_parse_uri_redirection(query, &found);
        if (!found) gst_query_parse_uri(query, &found);
        if (found) uri = found;
        g_free(found);
    }
    gst_query_unref(query);
    static_cast<Shared*>(probe.shared.get())->tracker.setMasterPlaylist(probe.text, uri);
    probe.text.clear();
    return GST_PAD_PROBE_OK;
}

void QMGStreamerPipelineTap::onDemuxerCaps(GstPad* sourcePad, GstCaps* caps) {
    const GstStructure* format = caps ? gst_caps_get_structure(caps, 0) : nullptr;
    if (!format) {
        return;
    }
    const bool video = g_str_has_prefix(gst_structure_get_name(format), "video/");
    if (video) shared_->demuxerHasVideo = true;
    auto* probe = new DemuxedProbe(shared_);
    probe->video = video;
    int width = 0;
    int height = 0;
    gst_structure_get_int(format, "width", &width);
    gst_structure_get_int(format, "height", &height);
    probe->width = width;
    probe->height = height;
    watch(sourcePad,
          static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM |
                                       GST_PAD_PROBE_TYPE_EVENT_FLUSH),
          &onDemuxedData, probe, &destroy<DemuxedProbe>);
}

GstPadProbeReturn QMGStreamerPipelineTap::onDemuxedData(GstPad*, GstPadProbeInfo* info, gpointer state) {
    auto& probe = *static_cast<DemuxedProbe*>(state);
    Shared& shared = *static_cast<Shared*>(probe.shared.get());
    if (GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) {
        GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
        // The demuxer marks the first buffer of every fragment as a discontinuity.
        const bool counts = probe.video || !shared.demuxerHasVideo;
        if (counts && GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT) &&
            GST_BUFFER_PTS_IS_VALID(buffer)) {
            shared.tracker.fragmentStarted(static_cast<int64_t>(GST_BUFFER_PTS(buffer)), probe.width,
                                           probe.height);
        }
        return GST_PAD_PROBE_OK;
    }
    GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
    if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP) {
        shared.tracker.flush();
    } else if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
        GstCaps* caps = nullptr;
        gst_event_parse_caps(event, &caps);
        const GstStructure* format = caps ? gst_caps_get_structure(caps, 0) : nullptr;
        int width = 0;
        int height = 0;
        if (format && gst_structure_get_int(format, "width", &width) &&
            gst_structure_get_int(format, "height", &height)) {
            probe.width = width;
            probe.height = height;
        }
    }
    return GST_PAD_PROBE_OK;
}

void QMGStreamerPipelineTap::onFinalized() {
    deliver([](const Handlers& handlers) {
        if (handlers.gone) handlers.gone();
    });
}

}  // namespace veyrakit
