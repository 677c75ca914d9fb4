#include "gstreamer/QMTestPlayerApp.h"

#include <chrono>
#include <stdexcept>
#include <utility>
#include <vector>

namespace veyrakit {

namespace {

GstElement* fakeSink() {
    GstElement* sink = gst_element_factory_make("fakesink", nullptr);
    g_object_set(sink, "sync", TRUE, nullptr);
    return sink;
}

// What the sync handler hands to the main loop: the message, for the app's handling there.
struct Handover {
    QMTestPlayerApp* app;
    GstMessage* message;
};

}  // namespace

QMTestPlayerApp::QMTestPlayerApp(const std::string& element, BusStyle style) : style_(style) {
    gst_init(nullptr, nullptr);
    playbin_ = gst_element_factory_make(element.c_str(), nullptr);
    if (!playbin_) {
        throw std::runtime_error("no " + element);
    }
    gst_object_ref_sink(playbin_);
    g_object_set(playbin_, "video-sink", fakeSink(), "audio-sink", fakeSink(), nullptr);
    GstBus* bus = gst_element_get_bus(playbin_);
    switch (style_) {
        case BusStyle::Watch:
            watchSource_ = gst_bus_add_watch(bus, &QMTestPlayerApp::onWatch, this);
            break;
        case BusStyle::SignalWatch:
            gst_bus_add_signal_watch(bus);
            signalHandler_ = g_signal_connect(bus, "message", G_CALLBACK(&QMTestPlayerApp::onSignal), this);
            break;
        case BusStyle::SyncHandler:
            gst_bus_set_sync_handler(bus, &QMTestPlayerApp::onSync, this, nullptr);
            break;
        case BusStyle::Polling:
            sources_.push_back(g_timeout_add(10, &QMTestPlayerApp::onPoll, this));
            break;
    }
    gst_object_unref(bus);
}

QMTestPlayerApp::~QMTestPlayerApp() {
    gst_element_set_state(playbin_, GST_STATE_NULL);
    GstBus* bus = gst_element_get_bus(playbin_);
    if (watchSource_) g_source_remove(watchSource_);
    if (signalHandler_) {
        g_signal_handler_disconnect(bus, signalHandler_);
        gst_bus_remove_signal_watch(bus);
    }
    if (style_ == BusStyle::SyncHandler) gst_bus_set_sync_handler(bus, nullptr, nullptr, nullptr);
    gst_object_unref(bus);
    for (guint source : sources_) g_source_remove(source);
    // What the sync handler handed over and the loop has not run yet.
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    gst_object_unref(playbin_);
}

void QMTestPlayerApp::setURI(const std::string& uri) { g_object_set(playbin_, "uri", uri.c_str(), nullptr); }

void QMTestPlayerApp::play() {
    wantsToPlay_ = true;
    gst_element_set_state(playbin_, GST_STATE_PLAYING);
}

void QMTestPlayerApp::pause() {
    wantsToPlay_ = false;
    gst_element_set_state(playbin_, GST_STATE_PAUSED);
}

void QMTestPlayerApp::seek(double seconds) {
    gst_element_seek_simple(playbin_, GST_FORMAT_TIME,
                            static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT),
                            static_cast<gint64>(seconds * GST_SECOND));
}

void QMTestPlayerApp::stop() {
    wantsToPlay_ = false;
    gst_element_set_state(playbin_, GST_STATE_NULL);
}

void QMTestPlayerApp::after(int millis, std::function<void()> action) {
    struct Pending {
        QMTestPlayerApp* app;
        guint id;
        std::function<void()> action;
    };
    auto* pending = new Pending{this, 0, std::move(action)};
    pending->id = g_timeout_add_full(
        G_PRIORITY_DEFAULT, static_cast<guint>(millis),
        [](gpointer data) -> gboolean {
            auto* fired = static_cast<Pending*>(data);
            std::erase(fired->app->sources_, fired->id);
            fired->action();
            return G_SOURCE_REMOVE;
        },
        pending, [](gpointer data) { delete static_cast<Pending*>(data); });
    sources_.push_back(pending->id);
}

bool QMTestPlayerApp::runUntil(const std::function<bool()>& done, int timeoutMillis) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMillis);
    // Wakes the blocking iteration now and then to look at the clock.
    const guint tick = g_timeout_add(
        20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    while (!done() && std::chrono::steady_clock::now() < deadline) {
        g_main_context_iteration(nullptr, TRUE);
    }
    g_source_remove(tick);
    return done();
}

void QMTestPlayerApp::handle(GstMessage* message) {
    ++received_[GST_MESSAGE_TYPE(message)];
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_BUFFERING: {
            // As players do: hold the pipeline while it refills.
            int percent = 0;
            gst_message_parse_buffering(message, &percent);
            if (wantsToPlay_)
                gst_element_set_state(playbin_, percent < 100 ? GST_STATE_PAUSED : GST_STATE_PLAYING);
            break;
        }
        case GST_MESSAGE_EOS:
            endedByStream_ = true;
            stop();
            break;
        case GST_MESSAGE_ERROR:
            failed_ = true;
            stop();
            break;
        default:
            break;
    }
}

gboolean QMTestPlayerApp::onWatch(GstBus*, GstMessage* message, gpointer self) {
    static_cast<QMTestPlayerApp*>(self)->handle(message);
    return G_SOURCE_CONTINUE;
}

void QMTestPlayerApp::onSignal(GstBus*, GstMessage* message, gpointer self) {
    static_cast<QMTestPlayerApp*>(self)->handle(message);
}

GstBusSyncReply QMTestPlayerApp::onSync(GstBus*, GstMessage* message, gpointer self) {
    // Streaming threads: the app's handling runs on its main loop.
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](gpointer data) -> gboolean {
            auto* handover = static_cast<Handover*>(data);
            handover->app->handle(handover->message);
            return G_SOURCE_REMOVE;
        },
        new Handover{static_cast<QMTestPlayerApp*>(self), gst_message_ref(message)},
        [](gpointer data) {
            auto* handover = static_cast<Handover*>(data);
            gst_message_unref(handover->message);
            delete handover;
        });
    return GST_BUS_DROP;
}

gboolean QMTestPlayerApp::onPoll(gpointer self) {
    auto* app = static_cast<QMTestPlayerApp*>(self);
    GstBus* bus = gst_element_get_bus(app->playbin_);
    while (GstMessage* message = gst_bus_pop(bus)) {
        app->handle(message);
        gst_message_unref(message);
    }
    gst_object_unref(bus);
    return G_SOURCE_CONTINUE;
}

}  // namespace veyrakit
