#include "QMThreadClock.h"

#include <dirent.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <sstream>

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

namespace {

int64_t clockNanos(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

}  // namespace

int64_t QMThreadClock::currentThreadCpuNanos() { return clockNanos(CLOCK_THREAD_CPUTIME_ID); }

int64_t QMThreadClock::processCpuNanos() { return clockNanos(CLOCK_PROCESS_CPUTIME_ID); }

std::map<pid_t, std::string> QMThreadClock::threadsOf(pid_t pid) {
    std::map<pid_t, std::string> threads;
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    if (DIR* dir = opendir(tasks.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            if (entry->d_name[0] == '.') {
                continue;
            }
            std::ifstream comm(tasks + "/" + entry->d_name + "/comm");
            std::string name;
            std::getline(comm, name);
            threads[static_cast<pid_t>(std::atoi(entry->d_name))] = name;
        }
        closedir(dir);
    }
    return threads;
}

int64_t QMThreadClock::cpuNanos(pid_t pid, pid_t tid) {
    std::ifstream schedstat("/proc/" + std::to_string(pid) + "/task/" + std::to_string(tid) + "/schedstat");
    int64_t nanos = 0;
    schedstat >> nanos;
    return nanos;
}

int64_t QMThreadClock::processCpuNanos(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(stat, text);
    // After the command name (which may hold spaces) in parentheses: utime and stime are the
    // 12th and 13th fields.
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string field;
    int64_t ticks = 0;
    for (int i = 1; i <= 13 && fields >> field; ++i) {
        if (i >= 12) {
            ticks += std::atoll(field.c_str());
        }
    }
    return ticks * (1'000'000'000 / sysconf(_SC_CLK_TCK));
}

}  // namespace veyrakit
