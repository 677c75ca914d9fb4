#pragma once
#include <atomic>
#include <climits>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

class QMTimer;
class QMURLTransfer;
class QMURLTransport;

// The main run loop: one thread runs tasks, timers and URL transfers (libcurl multi) in order.
// post() is safe from any thread. An exception escaping a callback is caught, written to the
// console, and the loop goes on.
//
// Two clocks: timers, delayed tasks and run deadlines are scheduled on the monotonic clock, so a
// wall clock stepped backwards or forwards neither stalls nor bunches them; every timestamp the
// SDK takes reads the wall clock (nowMicros, through QMClock). In debug builds the main loop
// checks that it runs, and fires its timers, on the main loop's thread (QMThreadChecker).
class VEYRAKIT_EXPORT QMRunLoop : public QMObject {
  public:
    QMRunLoop();
    ~QMRunLoop() override;

    // The process' main loop. Created (real time) on first use unless one was installed.
    static std::shared_ptr<QMRunLoop> mainRunLoop();
    // Installs a loop (typically a QMVirtualRunLoop in tests and the demo) as the main loop;
    // nullptr drops it so that the next mainRunLoop() makes a fresh real-time one. Either way the
    // main loop's thread is unbound until the next run or thread check binds it.
    static void setMainRunLoop(std::shared_ptr<QMRunLoop> loop);

    void post(std::function<void()> task);
    // Runs `task` once the monotonic clock has moved on by `delayMicros` (not counted as a timer).
    void postAfter(int64_t delayMicros, std::function<void()> task);
    void run();  // until stop()
    // Until the wall clock reaches the date: the distance to it is read once, then run on the
    // monotonic clock.
    void runUntilDate(int64_t dateMillis);
    // True if met; the timeout runs on the monotonic clock.
    bool runUntil(const std::function<bool()>& predicate, int64_t timeoutMillis);
    // Ends the run in progress (run, runUntilDate, runUntil), or the next one if none is running.
    void stop();

    // Driving the loop from the host's own event loop instead of giving it the thread with run():
    // wait until backendDescriptor() is readable or backendTimeoutMillis() have passed, then call
    // runDueWork(), on one thread (which then counts as the main loop's). The descriptor becomes
    // readable when another thread posts work or a URL transfer has socket activity; the timeout
    // is -1 when nothing is scheduled, 0 when work is due now. runDueWork() never blocks. Real-time
    // loops only: a virtual loop moves its clock in run(). The GStreamer backend attaches a loop to
    // a GLib main context this way (QMGLibRunLoopSource).
    int backendDescriptor() const;
    int backendTimeoutMillis() const;
    void runDueWork();

    // The wall clock, for timestamps: microseconds since 1970 (gettimeofday, or virtual). May
    // jump when the system clock is set.
    virtual int64_t nowMicros() const;
    int64_t nowMillis() const { return nowMicros() / 1000; }
    // The scheduling clock, for timers and deadlines: microseconds from an arbitrary origin that
    // never goes back (CLOCK_MONOTONIC, or virtual). Only differences between readings mean
    // anything.
    virtual int64_t monotonicMicros() const;
    virtual bool isVirtual() const { return false; }

    // Used by QMTimer and the URL loading system.
    void addTimer(const std::shared_ptr<QMTimer>& timer);
    void removeTimer(const QMTimer* timer);
    std::size_t timerCount() const;  // scheduled timers (for tests)
    std::size_t taskCount() const;   // tasks posted or delayed and not yet run (for tests)
    void addTransfer(const std::shared_ptr<QMURLTransfer>& transfer);
    void removeTransfer(const QMURLTransfer* transfer);
    std::size_t transferCount() const;  // URL transfers in flight (for tests)
    // Work on another thread that this loop's time waits for: the shared URL session's data
    // tasks, from the moment they leave this loop until their completion has run on the worker.
    // A virtual loop does not jump ahead while any is in flight (as for its own transfers), so
    // a virtual second cannot overtake a post still on its way; a real loop only counts them, and
    // is woken by their end only while a runUntil() is in progress. Safe from any thread.
    void beginOutsideWork();
    void endOutsideWork();
    std::size_t outsideWorkCount() const;

    // Told, after each callback the loop runs (a posted or delayed task, a timer's fire), how
    // long it took on the real clock, in microseconds, whatever clock the loop runs on: a host
    // watches its main thread for long stalls this way. nullptr removes it. Main thread only.
    using CallbackObserver = std::function<void(int64_t realMicros)>;
    void setCallbackObserver(CallbackObserver observer);

    // How URL loading on this loop reaches a server: the libcurl transport unless another was
    // installed (an in-process transport for tests); nullptr puts the libcurl one back.
    void setURLTransport(std::shared_ptr<QMURLTransport> transport);
    std::shared_ptr<QMURLTransport> URLTransport() const;

  protected:
    // Runs whatever is due now, then, if nothing was, waits up to `maxWaitMicros` for something to
    // fall due; returns false when nothing was done.
    bool runOnce(int64_t maxWaitMicros);
    // Virtual loops override how time passes while idle. `wakeMicros` is on the monotonic clock;
    // kForever: until something arrives.
    virtual void idleUntil(int64_t wakeMicros);
    static constexpr int64_t kForever = INT64_MAX;
    // Waits (real time) for socket activity, libcurl's own deadlines or a post from another thread.
    void pollIO(int64_t timeoutMicros);
    bool hasPendingTasks() const;
    // Runs until the monotonic clock reaches `deadlineMicros`; honours stop() when `stoppable`.
    void runUntilMicros(int64_t deadlineMicros, bool stoppable);

  private:
    bool consumeStop();
    // Debug builds: the main loop runs only on the main loop's thread.
    void checkThreadIfMain(const char* operation) const;
    bool runPostedTasks();
    // Runs one callback, guarded, and tells the callback observer how long it took.
    void runCallback(const std::function<void()>& work);
    bool fireDueTimers();
    // Hands libcurl the socket activity and deadline that are due, then delivers what completed.
    void driveTransfers();
    // Wakes a thread waiting on the backend descriptor, unless a wake is already on its way or the
    // caller is the thread that runs the loop (it looks at the queue before it waits again).
    void wake();
    int64_t nextDueMicros() const;
    struct Impl;
    std::unique_ptr<Impl> impl_;
    friend class QMVirtualRunLoop;
};

// Same loop on a virtual clock: when nothing is runnable and no I/O is in flight, time jumps to
// the next timer. Real sockets keep working: while a transfer is in flight the loop waits for it
// (virtual time does not move meanwhile). With nothing scheduled at all, run() waits (really)
// for tasks posted from other threads. Both clocks read the one virtual time, which starts at
// `startMillis` since 1970 and only moves forward, so they move together. Reading it is safe
// from any thread.
class VEYRAKIT_EXPORT QMVirtualRunLoop : public QMRunLoop {
  public:
    explicit QMVirtualRunLoop(int64_t startMillis = 1'700'000'000'000);
    int64_t nowMicros() const override;
    int64_t monotonicMicros() const override;
    bool isVirtual() const override { return true; }
    // Runs everything due within the next `ms` milliseconds (including what falls due exactly
    // at the end), then leaves the clock there. Not ended by stop().
    void advanceBy(int64_t ms);

  protected:
    void idleUntil(int64_t wakeMicros) override;

  private:
    // Longest real wait while I/O is in flight, before the loop looks again.
    static constexpr int64_t kRealWaitSliceMicros = 200'000;
    std::atomic<int64_t> virtualMicros_;
};

}  // namespace veyrakit
