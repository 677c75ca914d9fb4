#include "veyrakit/gstreamer/QMGStreamerAgent.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "QMGStreamerAgentSettings.h"
#include "QMGStreamerTracer.h"
#include "platform/QMURLSession.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/gstreamer/QMGStreamerMonitor.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/QMRunLoop.h"

GST_DEBUG_CATEGORY_STATIC(veyrakit_agent_debug);
#define GST_CAT_DEFAULT veyrakit_agent_debug

namespace veyrakit {

namespace {

constexpr int64_t kDrainCheckMicros = 20'000;

// The agent's state. The loop thread alone touches `monitors`; the rest is under `mutex`.
struct Agent {
    std::mutex mutex;
    QMGStreamerAgentSettings settings;
    std::shared_ptr<QMRunLoop> loop;
    std::thread thread;
    bool stopped = false;
    std::vector<std::shared_ptr<QMGStreamerMonitor>> monitors;
    std::atomic<std::size_t> monitored{0};
};

// Never destroyed: the exit handler and GStreamer's hooks may run during static destruction.
Agent& agent() {
    static auto* instance = new Agent;
    return *instance;
}

std::optional<std::string> environmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

void initDebugCategory() {
    static std::once_flag once;
    std::call_once(once, [] {
        GST_DEBUG_CATEGORY_INIT(veyrakit_agent_debug, "veyrakit", 0, "VeyraKit zero-code monitoring");
    });
}

// On the loop's thread: the sessions of pipelines that are gone have ended; their monitors go.
void pruneMonitors(Agent& a) {
    std::erase_if(a.monitors, [](const auto& monitor) { return !monitor->isAttached(); });
    a.monitored = a.monitors.size();
}

void attachOnLoop(GstElement* playbin) {
    Agent& a = agent();
    pruneMonitors(a);
    QMGStreamerMonitor::Options options;
    {
        std::lock_guard<std::mutex> lock(a.mutex);
        options = a.settings.monitorOptions();
    }
    try {
        a.monitors.push_back(QMGStreamerMonitor::attach(playbin, std::move(options)));
    } catch (const std::exception& error) {
        GST_WARNING_OBJECT(playbin, "not monitored: %s", error.what());
    }
    a.monitored = a.monitors.size();
}

void atExit() { QMGStreamerAgent::shutdown(); }

// The SDK's main run loop, on the agent's thread, until shutdown() stops it.
void runLoop(const std::shared_ptr<QMRunLoop>& loop, const std::shared_ptr<std::promise<void>>& started) {
    // Named, so that the app's tools (top, gdb, perf) tell the SDK's thread from GStreamer's.
    pthread_setname_np(pthread_self(), "veyrakit-agent");
    QMRunLoop::setMainRunLoop(loop);
    {
        Agent& a = agent();
        std::lock_guard<std::mutex> lock(a.mutex);
        if (a.settings.diagnosticEventsURL) {
            QMDiagnosticCollectors::setDiagnosticEventsURL(a.settings.diagnosticEventsURL);
            QMDiagnosticCollectors::setSessionEventsURL(a.settings.sessionEventsURL);
        }
    }
    // Made now, so that the exit handler registered after them runs before they are destroyed.
    QMURLSession::sharedSession();
    QMNotificationCenter::defaultCenter();
    static std::once_flag registered;
    std::call_once(registered, [] { std::atexit(&atExit); });
    started->set_value();
    loop->run();
    QMRunLoop::setMainRunLoop(nullptr);
}

// The loop, started with the first playbin; nullptr once shut down.
std::shared_ptr<QMRunLoop> startedLoop() {
    Agent& a = agent();
    std::unique_lock<std::mutex> lock(a.mutex);
    if (a.stopped) return nullptr;
    if (a.loop) return a.loop;
    a.loop = std::make_shared<QMRunLoop>();
    auto started = std::make_shared<std::promise<void>>();
    auto ready = started->get_future();
    a.thread = std::thread([loop = a.loop, started] { runLoop(loop, started); });
    lock.unlock();
    ready.wait();
    return a.loop;
}

// On the thread that created `playbin` (the app's): hands it to the loop and waits, bounded, for
// the monitor, so that the pipeline's first messages reach it.
void onPlaybin(GstElement* playbin) {
    try {
        const auto loop = startedLoop();
        if (!loop) return;
        std::shared_ptr<GWeakRef> weak(new GWeakRef, [](GWeakRef* ref) {
            g_weak_ref_clear(ref);
            delete ref;
        });
        g_weak_ref_init(weak.get(), playbin);
        auto attached = std::make_shared<std::promise<void>>();
        auto done = attached->get_future();
        loop->post([weak, attached] {
            if (auto* element = static_cast<GstElement*>(g_weak_ref_get(weak.get()))) {
                attachOnLoop(element);
                gst_object_unref(element);
            }
            attached->set_value();
        });
        if (done.wait_for(std::chrono::milliseconds(QMGStreamerAgent::kAttachWaitMillis)) !=
            std::future_status::ready) {
            GST_WARNING_OBJECT(playbin, "attached late: its first messages may be missed");
        }
    } catch (const std::exception& error) {
        GST_WARNING_OBJECT(playbin, "not monitored: %s", error.what());
    }
}

bool configure(const std::string& parameters, GObject* warnAbout) {
    initDebugCategory();
    auto settings = QMGStreamerAgentSettings::parse(parameters, &environmentVariable);
    for (const auto& problem : settings.problems) {
        GST_WARNING_OBJECT(warnAbout, "veyrakit tracer: %s", problem.c_str());
    }
    if (!settings.usable()) return false;
    // The customer id the app did not give: the program's name, which says whose playback it is.
    if (!settings.description.qmrCID) {
        const gchar* program = g_get_prgname();
        settings.description.qmrCID = program ? program : "gstreamer";
    }
    {
        Agent& a = agent();
        std::lock_guard<std::mutex> lock(a.mutex);
        if (a.stopped) return false;
        a.settings = std::move(settings);
    }
    QMGStreamerTracer::setPlaybinHandler(&onPlaybin);
    return true;
}

// On the loop: ends every session, then stops once the final reports are out or the time is up.
void drainThenStop(const std::shared_ptr<QMRunLoop>& loop, int64_t deadlineMicros) {
    if ((loop->transferCount() == 0 && loop->outsideWorkCount() == 0) ||
        loop->monotonicMicros() >= deadlineMicros) {
        loop->stop();
        return;
    }
    loop->postAfter(kDrainCheckMicros, [loop, deadlineMicros] { drainThenStop(loop, deadlineMicros); });
}

}  // namespace

struct VeyraKitAgentTracer {
    GstTracer parent;
};

struct VeyraKitAgentTracerClass {
    GstTracerClass parentClass;
};

G_DEFINE_TYPE(VeyraKitAgentTracer, veyrakit_agent_tracer, QMGStreamerTracer::type())

static void veyrakit_agent_tracer_constructed(GObject* object) {
    G_OBJECT_CLASS(veyrakit_agent_tracer_parent_class)->constructed(object);
    gchar* parameters = nullptr;
    g_object_get(object, "params", &parameters, nullptr);
    configure(parameters ? parameters : "", object);
    g_free(parameters);
}

// gst_deinit() lets the process' tracers go: the sessions end there.
static void veyrakit_agent_tracer_dispose(GObject* object) {
    QMGStreamerAgent::shutdown();
    G_OBJECT_CLASS(veyrakit_agent_tracer_parent_class)->dispose(object);
}

static void veyrakit_agent_tracer_class_init(VeyraKitAgentTracerClass* klass) {
    G_OBJECT_CLASS(klass)->constructed = &veyrakit_agent_tracer_constructed;
    G_OBJECT_CLASS(klass)->dispose = &veyrakit_agent_tracer_dispose;
}

static void veyrakit_agent_tracer_init(VeyraKitAgentTracer*) {}

bool QMGStreamerAgent::registerTracer(GstPlugin* plugin) {
    initDebugCategory();
    return gst_tracer_register(plugin, "veyrakit", veyrakit_agent_tracer_get_type());
}

bool QMGStreamerAgent::start(const std::string& parameters) {
    QMGStreamerTracer::install();
    return configure(parameters, nullptr);
}

void QMGStreamerAgent::shutdown() {
    Agent& a = agent();
    std::unique_lock<std::mutex> lock(a.mutex);
    if (a.stopped || !a.loop || a.thread.get_id() == std::this_thread::get_id()) {
        QMGStreamerTracer::setPlaybinHandler(nullptr);
        return;
    }
    a.stopped = true;
    const auto loop = a.loop;
    lock.unlock();
    QMGStreamerTracer::setPlaybinHandler(nullptr);
    loop->post([loop] {
        Agent& agentOnLoop = agent();
        for (const auto& monitor : agentOnLoop.monitors) monitor->detach();
        agentOnLoop.monitors.clear();
        agentOnLoop.monitored = 0;
        drainThenStop(loop, loop->monotonicMicros() + int64_t{kShutdownMillis} * 1000);
    });
    a.thread.join();
    QMURLSession::sharedSession()->shutdown();
    lock.lock();
    a.loop.reset();
    a.stopped = false;
}

std::size_t QMGStreamerAgent::monitoredCount() { return agent().monitored; }

bool QMGStreamerAgent::isRunning() {
    Agent& a = agent();
    std::lock_guard<std::mutex> lock(a.mutex);
    return a.loop && !a.stopped;
}

}  // namespace veyrakit
