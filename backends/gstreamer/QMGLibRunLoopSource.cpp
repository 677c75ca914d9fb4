#include "veyrakit/gstreamer/QMGLibRunLoopSource.h"

#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

// A GSource with the loop beside it (GLib allocates the whole block and frees it at finalize).
struct QMGLibRunLoopSource::Source {
    GSource base;
    QMRunLoop* loop;
    gpointer descriptorTag;
    unsigned long dispatches;

    static gboolean prepare(GSource* source, gint* timeout) {
        *timeout = reinterpret_cast<Source*>(source)->loop->backendTimeoutMillis();
        return *timeout == 0;
    }

    static gboolean check(GSource* source) {
        auto* self = reinterpret_cast<Source*>(source);
        return (g_source_query_unix_fd(source, self->descriptorTag) & G_IO_IN) != 0 ||
               self->loop->backendTimeoutMillis() == 0;
    }

    static gboolean dispatch(GSource* source, GSourceFunc, gpointer) {
        auto* self = reinterpret_cast<Source*>(source);
        ++self->dispatches;
        self->loop->runDueWork();
        return G_SOURCE_CONTINUE;
    }

    static GSourceFuncs funcs;
};

GSourceFuncs QMGLibRunLoopSource::Source::funcs = {&prepare, &check, &dispatch, nullptr, nullptr, nullptr};

std::unique_ptr<QMGLibRunLoopSource> QMGLibRunLoopSource::attach(std::shared_ptr<QMRunLoop> loop,
                                                                 GMainContext* context) {
    return std::unique_ptr<QMGLibRunLoopSource>(
        new QMGLibRunLoopSource(loop ? std::move(loop) : QMRunLoop::mainRunLoop(), context));
}

QMGLibRunLoopSource::QMGLibRunLoopSource(std::shared_ptr<QMRunLoop> loop, GMainContext* context)
    : loop_(std::move(loop)), context_(context) {
    GSource* source = g_source_new(&Source::funcs, sizeof(Source));
    source_ = reinterpret_cast<Source*>(source);
    source_->loop = loop_.get();
    source_->dispatches = 0;
    source_->descriptorTag = g_source_add_unix_fd(source, loop_->backendDescriptor(), G_IO_IN);
    g_source_set_name(source, "veyrakit run loop");
    g_source_attach(source, context);
}

QMGLibRunLoopSource::~QMGLibRunLoopSource() {
    GSource* source = &source_->base;
    g_source_destroy(source);
    g_source_unref(source);
}

bool QMGLibRunLoopSource::drain(int timeoutMillis) {
    const auto atRest = [this] {
        return loop_->transferCount() == 0 && loop_->outsideWorkCount() == 0 && loop_->taskCount() == 0;
    };
    const gint64 deadline = g_get_monotonic_time() + int64_t{timeoutMillis} * 1000;
    // Wakes the blocking iteration now and then to look at the clock.
    GSource* tick = g_timeout_source_new(20);
    g_source_set_callback(
        tick, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr, nullptr);
    g_source_attach(tick, context_);
    while (!atRest() && g_get_monotonic_time() < deadline) {
        g_main_context_iteration(context_, TRUE);
    }
    g_source_destroy(tick);
    g_source_unref(tick);
    return atRest();
}

unsigned long QMGLibRunLoopSource::dispatchCount() const { return source_->dispatches; }

}  // namespace veyrakit
