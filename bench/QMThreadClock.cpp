#include "QMThreadClock.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <fstream>

#include "platform/QMURLSession.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

pid_t QMThreadClock::currentThreadId() { return static_cast<pid_t>(syscall(SYS_gettid)); }

int64_t QMThreadClock::cpuNanos(pid_t tid) {
    // schedstat's first field is the time on a CPU in nanoseconds, finer than stat's ticks.
    std::ifstream schedstat("/proc/self/task/" + std::to_string(tid) + "/schedstat");
    int64_t nanos = 0;
    schedstat >> nanos;
    return nanos;
}

pid_t QMThreadClock::URLSessionWorkerThreadId() {
    std::atomic<pid_t> worker{0};
    auto session = QMURLSession::sharedSession();
    // Port 9 (discard) on loopback refuses at once; only the thread the completion runs on matters.
    session
        ->dataTaskWithURL(QMURL::URLWithString("http://127.0.0.1:9/"),
                          [&worker](const auto&, const auto&, const auto&) { worker = currentThreadId(); })
        ->resume();
    session->waitForIdle();
    return worker.load();
}

int64_t QMThreadClock::processCpuNanos() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

}  // namespace veyrakit
