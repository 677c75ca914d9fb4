#include "platform/QMThreadChecker.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>

namespace veyrakit {

namespace {

// Trivially destructible, so that checks made during static destruction still find it. A
// default id (all zero, as static storage starts) means "unbound".
std::atomic<std::thread::id> boundThread;

std::string describe(std::thread::id id) {
    std::ostringstream text;
    text << id;
    return text.str();
}

}  // namespace

bool QMThreadChecker::isOnMainLoopThread() {
    const std::thread::id self = std::this_thread::get_id();
    std::thread::id expected{};
    // Either this call binds the unbound checker, or `expected` now holds the bound thread.
    return boundThread.compare_exchange_strong(expected, self) || expected == self;
}

void QMThreadChecker::unbindMainLoopThread() { boundThread.store(std::thread::id{}); }

void QMThreadChecker::failOffMainLoopThread(std::string_view operation) {
    const std::string message = std::string(operation) + " called on thread " +
                                describe(std::this_thread::get_id()) +
                                ", but the main run loop's thread is " + describe(boundThread.load());
    std::fprintf(stderr, "*** VeyraKit thread check failed: %s\n", message.c_str());
    std::fflush(stderr);
    std::abort();
}

}  // namespace veyrakit
