#pragma once
#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>

namespace veyrakit {

// CPU time of single threads of this process, read from the kernel's per-task accounting, so
// that the SDK's threads (the main loop and the shared URL session's worker) can be told apart
// from a server or a media player running in the same process.
class QMThreadClock {
  public:
    static pid_t currentThreadId();
    // Nanoseconds the thread has spent on a CPU; 0 when it does not exist (any more).
    static int64_t cpuNanos(pid_t tid);
    // The shared URL session's worker: a data task that cannot connect is run, and its
    // completion, which runs on the worker, says where it ran. Starts the worker if needed.
    static pid_t URLSessionWorkerThreadId();
    // The calling thread, from the kernel's clock for it (no file to read).
    static int64_t currentThreadCpuNanos();
    // Every thread of this process, the calling one included.
    static int64_t processCpuNanos();

    // Another process (another's threads are read from /proc): the threads it has now, by id,
    // with their names; one thread's time on a CPU (0 when gone); and the user and system time
    // of all its threads, those that ended included (clock-tick resolution).
    static std::map<pid_t, std::string> threadsOf(pid_t pid);
    static int64_t cpuNanos(pid_t pid, pid_t tid);
    static int64_t processCpuNanos(pid_t pid);
};

}  // namespace veyrakit
