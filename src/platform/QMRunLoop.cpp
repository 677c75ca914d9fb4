#include "veyrakit/platform/QMRunLoop.h"

#include <curl/curl.h>
#include <cxxabi.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <string>
#include <thread>
#include <typeinfo>
#include <utility>
#include <vector>

#include "platform/QMConsole.h"
#include "platform/QMCurlURLTransport.h"
#include "platform/QMException.h"
#include "platform/QMSharedSlot.h"
#include "platform/QMThreadChecker.h"
#include "platform/QMURLTransfer.h"
#include "veyrakit/platform/QMTimer.h"

namespace veyrakit {

namespace {

// libcurl's global state must exist before the first multi or easy handle; it is never torn
// down because handles may outlive static destruction order.
void ensureCurlGlobal() {
    static const bool initialised = (curl_global_init(CURL_GLOBAL_DEFAULT), true);
    (void)initialised;
}

std::string typeName(const std::exception& e) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(typeid(e).name(), nullptr, nullptr, &status), std::free);
    return status == 0 && name ? std::string(name.get()) : std::string(typeid(e).name());
}

// What escapes a callback is reported and swallowed: the host process must not die because of
// a mistake in the SDK.
void runGuarded(const std::function<void()>& work) {
    try {
        work();
    } catch (const QMException& e) {
        QMConsoleLog("*** Caught exception '%@' in a run loop callback, reason: '%@'", e.name(), e.reason());
    } catch (const std::exception& e) {
        QMConsoleLog("*** Caught exception '%@' in a run loop callback, reason: '%@'", typeName(e),
                     std::string(e.what()));
    } catch (...) {
        QMConsoleLog("*** Caught an unknown exception in a run loop callback");
    }
}

int64_t saturatingAdd(int64_t a, int64_t b) { return b > INT64_MAX - a ? INT64_MAX : a + b; }

// libcurl's deadlines run in real time whatever clock the loop keeps: a virtual loop holds its
// clock still while a transfer is in flight.
int64_t realMonotonicMicros() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1'000'000 + ts.tv_nsec / 1000;
}

constexpr int64_t kNever = INT64_MAX;
// Events taken from one wait on the epoll set (the rest stay for the next).
constexpr int kReadyEvents = 16;

// What libcurl asked the loop for: the sockets it wants watched (in the loop's epoll set), and
// when it wants to be called without socket activity (real monotonic clock; kNever: not at all).
struct CurlWatch {
    int epollFd = -1;
    std::vector<curl_socket_t> watchedSockets;  // in the epoll set (a handful at most)
    std::atomic<int64_t> deadlineMicros{kNever};
    bool watches(curl_socket_t socket) const {
        return std::find(watchedSockets.begin(), watchedSockets.end(), socket) != watchedSockets.end();
    }
};

// Milliseconds for a wait of `micros`, rounded up so that a wake-up a fraction of a millisecond
// away does not spin; -1 (forever) for kForever-like distances.
int waitMillis(int64_t micros) {
    if (micros >= int64_t{INT_MAX} * 1000) {
        return -1;
    }
    return static_cast<int>(std::clamp<int64_t>((micros + 999) / 1000, 0, INT_MAX));
}

QMSharedSlot<QMRunLoop>& mainLoopSlot() {
    static QMSharedSlot<QMRunLoop> slot;
    return slot;
}

}  // namespace

struct QMRunLoop::Impl {
    // Timers and delayed tasks share one schedule, ordered by due time (monotonic clock), then by
    // scheduling order.
    struct Scheduled {
        int64_t dueMicros;
        uint64_t sequence;
        std::shared_ptr<QMTimer> timer;  // set: a timer (due time read from the timer)
        std::function<void()> task;      // otherwise: a delayed task
        int64_t due() const { return timer ? timer->fireTimeMicros() : dueMicros; }
    };

    CURLM* multi = nullptr;
    // The backend descriptor: an epoll set of libcurl's sockets and the wake-up eventfd.
    int epollFd = -1;
    int wakeFd = -1;
    std::atomic<bool> wakePending{false};
    // What the last wait on the epoll set returned, for the next pass to act on without asking
    // again; readyCount -1: nothing kept.
    epoll_event ready[kReadyEvents]{};
    int readyCount = -1;
    // The thread running the loop now or last (posts from it need no wake-up).
    std::atomic<std::thread::id> loopThread{};
    CurlWatch curl;
    // post() is called from any thread (the URL session hands work to its worker this way). The
    // schedule shares the lock: a timer is invalidated by whoever drops its target last, and a
    // loop may be torn down on another thread than the one that ran it.
    mutable std::mutex mutex;
    std::deque<std::function<void()>> tasks;
    std::vector<Scheduled> schedule;
    uint64_t nextSequence = 0;
    std::map<const QMURLTransfer*, std::shared_ptr<QMURLTransfer>> transfers;
    std::atomic<bool> stopRequested{false};
    std::atomic<std::size_t> outsideWork{0};
    // runUntil() calls in progress: their predicate may wait for outside work to end.
    std::atomic<int> predicateRuns{0};
    std::shared_ptr<QMURLTransport> transport;
    CallbackObserver callbackObserver;
};

namespace {

// libcurl's socket callback: keeps the epoll set in step with the sockets it wants watched.
int onCurlSocket(CURL*, curl_socket_t socket, int what, void* data, void*) {
    auto* watch = static_cast<CurlWatch*>(data);
    auto& watched = watch->watchedSockets;
    if (what == CURL_POLL_REMOVE) {
        epoll_ctl(watch->epollFd, EPOLL_CTL_DEL, socket, nullptr);
        watched.erase(std::remove(watched.begin(), watched.end(), socket), watched.end());
        return 0;
    }
    epoll_event event{};
    event.events = ((what & CURL_POLL_IN) ? EPOLLIN : 0u) | ((what & CURL_POLL_OUT) ? EPOLLOUT : 0u);
    event.data.fd = socket;
    // One call per change: a socket libcurl closed behind our back left the set with it, so a
    // modification that finds nothing adds it again.
    if (!watch->watches(socket)) {
        if (epoll_ctl(watch->epollFd, EPOLL_CTL_ADD, socket, &event) == 0) {
            watched.push_back(socket);
        }
    } else if (epoll_ctl(watch->epollFd, EPOLL_CTL_MOD, socket, &event) != 0) {
        epoll_ctl(watch->epollFd, EPOLL_CTL_ADD, socket, &event);
    }
    return 0;
}

// libcurl's timer callback: when it wants to be called without socket activity.
int onCurlTimer(CURLM*, long timeoutMillis, void* data) {
    auto* watch = static_cast<CurlWatch*>(data);
    watch->deadlineMicros =
        timeoutMillis < 0 ? kNever : realMonotonicMicros() + int64_t{timeoutMillis} * 1000;
    return 0;
}

}  // namespace

QMRunLoop::QMRunLoop() : impl_(std::make_unique<Impl>()) {
    ensureCurlGlobal();
    impl_->epollFd = epoll_create1(EPOLL_CLOEXEC);
    impl_->wakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    epoll_event wakeEvent{};
    wakeEvent.events = EPOLLIN;
    wakeEvent.data.fd = impl_->wakeFd;
    epoll_ctl(impl_->epollFd, EPOLL_CTL_ADD, impl_->wakeFd, &wakeEvent);
    impl_->curl.epollFd = impl_->epollFd;
    impl_->multi = curl_multi_init();
    curl_multi_setopt(impl_->multi, CURLMOPT_SOCKETFUNCTION, &onCurlSocket);
    curl_multi_setopt(impl_->multi, CURLMOPT_SOCKETDATA, &impl_->curl);
    curl_multi_setopt(impl_->multi, CURLMOPT_TIMERFUNCTION, &onCurlTimer);
    curl_multi_setopt(impl_->multi, CURLMOPT_TIMERDATA, &impl_->curl);
}

QMRunLoop::~QMRunLoop() {
    std::vector<Impl::Scheduled> schedule;
    std::map<const QMURLTransfer*, std::shared_ptr<QMURLTransfer>> transfers;
    std::deque<std::function<void()>> tasks;
    {
        std::lock_guard<std::mutex> lock(impl_->mutex);
        schedule.swap(impl_->schedule);
        transfers.swap(impl_->transfers);
        tasks.swap(impl_->tasks);
    }
    // Invalidating releases each timer's target even where someone still holds the timer.
    for (auto& entry : schedule) {
        if (entry.timer) {
            entry.timer->loop_.reset();
            entry.timer->invalidate();
        }
    }
    for (auto& [key, transfer] : transfers) {
        curl_multi_remove_handle(impl_->multi, transfer->easyHandle());
    }
    transfers.clear();
    curl_multi_cleanup(impl_->multi);
    close(impl_->wakeFd);
    close(impl_->epollFd);
}

std::shared_ptr<QMRunLoop> QMRunLoop::mainRunLoop() { return mainLoopSlot().get(); }

void QMRunLoop::setMainRunLoop(std::shared_ptr<QMRunLoop> loop) {
    // The next user of the new loop binds its thread afresh; unbound first, since the previous
    // loop may die in the exchange (outside the slot's lock) and its tear-down may run checks or
    // ask for the main loop again.
    QMThreadChecker::unbindMainLoopThread();
    mainLoopSlot().exchange(std::move(loop));
}

void QMRunLoop::post(std::function<void()> task) {
    {
        std::lock_guard<std::mutex> lock(impl_->mutex);
        impl_->tasks.push_back(std::move(task));
    }
    wake();
}

void QMRunLoop::postAfter(int64_t delayMicros, std::function<void()> task) {
    {
        std::lock_guard<std::mutex> lock(impl_->mutex);
        impl_->schedule.push_back({saturatingAdd(monotonicMicros(), std::max<int64_t>(delayMicros, 0)),
                                   impl_->nextSequence++, nullptr, std::move(task)});
    }
    wake();
}

void QMRunLoop::run() { runUntilMicros(kForever, true); }

void QMRunLoop::runUntilDate(int64_t dateMillis) {
    runUntilMicros(saturatingAdd(monotonicMicros(), dateMillis * 1000 - nowMicros()), true);
}

bool QMRunLoop::runUntil(const std::function<bool()>& predicate, int64_t timeoutMillis) {
    checkThreadIfMain("QMRunLoop::runUntil");
    struct Counted {
        std::atomic<int>& runs;
        explicit Counted(std::atomic<int>& r) : runs(r) { ++runs; }
        ~Counted() { --runs; }
        Counted(const Counted&) = delete;
        Counted& operator=(const Counted&) = delete;
    } counted(impl_->predicateRuns);
    const int64_t deadline = saturatingAdd(monotonicMicros(), timeoutMillis * 1000);
    while (!predicate()) {
        if (consumeStop()) {
            return predicate();
        }
        // Only a pass that began at the deadline and found nothing to do ends the wait: what
        // falls due exactly at the deadline still runs.
        const int64_t now = monotonicMicros();
        const bool didWork = runOnce(std::max<int64_t>(deadline - now, 0));
        if (!didWork && now >= deadline) {
            return predicate();
        }
    }
    return true;
}

void QMRunLoop::runUntilMicros(int64_t deadlineMicros, bool stoppable) {
    checkThreadIfMain("QMRunLoop::run");
    while (!(stoppable && consumeStop())) {
        const int64_t now = monotonicMicros();
        const int64_t maxWait =
            deadlineMicros == kForever ? kForever : std::max<int64_t>(deadlineMicros - now, 0);
        const bool didWork = runOnce(maxWait);
        if (!didWork && now >= deadlineMicros) {
            return;
        }
    }
}

void QMRunLoop::stop() {
    impl_->stopRequested = true;
    wake();
}

void QMRunLoop::wake() {
    if (impl_->loopThread.load(std::memory_order_relaxed) == std::this_thread::get_id() ||
        impl_->wakePending.exchange(true)) {
        return;
    }
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(impl_->wakeFd, &one, sizeof one);
}

int QMRunLoop::backendDescriptor() const { return impl_->epollFd; }

int QMRunLoop::backendTimeoutMillis() const {
    if (impl_->wakePending || hasPendingTasks()) {
        return 0;
    }
    const int64_t timer = nextDueMicros();
    const int64_t untilTimer = timer == kForever ? kForever : std::max<int64_t>(timer - monotonicMicros(), 0);
    const int64_t curl = impl_->curl.deadlineMicros;
    const int64_t untilCurl =
        curl == kForever ? kForever : std::max<int64_t>(curl - realMonotonicMicros(), 0);
    return waitMillis(std::min(untilTimer, untilCurl));
}

void QMRunLoop::runDueWork() {
    checkThreadIfMain("QMRunLoop::runDueWork");
    runOnce(0);
}

bool QMRunLoop::consumeStop() { return impl_->stopRequested.exchange(false); }

void QMRunLoop::checkThreadIfMain([[maybe_unused]] const char* operation) const {
#ifndef NDEBUG
    // Only the main loop is bound: the URL session's worker and loops made by tests run where
    // they are run.
    if (mainLoopSlot().peek().get() == this) {
        QM_DCHECK_ON_MAIN_LOOP_THREAD(operation);
    }
#endif
}

int64_t QMRunLoop::nowMicros() const {
    timeval tv{};
    gettimeofday(&tv, nullptr);
    return static_cast<int64_t>(tv.tv_sec) * 1'000'000 + tv.tv_usec;
}

int64_t QMRunLoop::monotonicMicros() const {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1'000'000 + ts.tv_nsec / 1000;
}

void QMRunLoop::addTimer(const std::shared_ptr<QMTimer>& timer) {
    {
        std::lock_guard<std::mutex> lock(impl_->mutex);
        impl_->schedule.push_back({0, impl_->nextSequence++, timer, nullptr});
    }
    wake();
}

void QMRunLoop::removeTimer(const QMTimer* timer) {
    std::vector<Impl::Scheduled> removed;
    std::lock_guard<std::mutex> lock(impl_->mutex);
    auto& schedule = impl_->schedule;
    auto split = std::stable_partition(schedule.begin(), schedule.end(),
                                       [timer](const Impl::Scheduled& e) { return e.timer.get() != timer; });
    removed.assign(std::make_move_iterator(split), std::make_move_iterator(schedule.end()));
    schedule.erase(split, schedule.end());
    // `removed` is released after the lock (declared first, destroyed last): a timer's
    // destructor may reach back into the loop.
}

std::size_t QMRunLoop::timerCount() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return static_cast<std::size_t>(
        std::count_if(impl_->schedule.begin(), impl_->schedule.end(),
                      [](const Impl::Scheduled& e) { return e.timer != nullptr; }));
}

void QMRunLoop::addTransfer(const std::shared_ptr<QMURLTransfer>& transfer) {
    {
        std::lock_guard<std::mutex> lock(impl_->mutex);
        impl_->transfers[transfer.get()] = transfer;
    }
    curl_easy_setopt(transfer->easyHandle(), CURLOPT_PRIVATE, transfer.get());
    curl_multi_add_handle(impl_->multi, transfer->easyHandle());
}

void QMRunLoop::removeTransfer(const QMURLTransfer* transfer) {
    std::shared_ptr<QMURLTransfer> removed;
    {
        std::lock_guard<std::mutex> lock(impl_->mutex);
        auto it = impl_->transfers.find(transfer);
        if (it == impl_->transfers.end()) {
            return;
        }
        removed = std::move(it->second);
        impl_->transfers.erase(it);
    }
    curl_multi_remove_handle(impl_->multi, removed->easyHandle());
}

std::size_t QMRunLoop::taskCount() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    const auto delayed = std::count_if(impl_->schedule.begin(), impl_->schedule.end(),
                                       [](const Impl::Scheduled& e) { return e.timer == nullptr; });
    return impl_->tasks.size() + static_cast<std::size_t>(delayed);
}

void QMRunLoop::beginOutsideWork() { ++impl_->outsideWork; }

void QMRunLoop::endOutsideWork() {
    --impl_->outsideWork;
    // Woken only where someone waits for it: a virtual loop holds its clock for it, and a
    // runUntil() predicate may be counting it. A real loop otherwise has nothing to do with it,
    // and waking a host's idle main thread once per diagnostic post would be a cost for nothing.
    if (isVirtual() || impl_->predicateRuns.load() > 0) {
        wake();
    }
}

std::size_t QMRunLoop::outsideWorkCount() const { return impl_->outsideWork.load(); }

std::size_t QMRunLoop::transferCount() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->transfers.size();
}

void QMRunLoop::setURLTransport(std::shared_ptr<QMURLTransport> transport) {
    impl_->transport = std::move(transport);
}

std::shared_ptr<QMURLTransport> QMRunLoop::URLTransport() const {
    if (impl_->transport) {
        return impl_->transport;
    }
    return QMCurlURLTransport::sharedTransport();
}

bool QMRunLoop::hasPendingTasks() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return !impl_->tasks.empty();
}

bool QMRunLoop::runOnce(int64_t maxWaitMicros) {
    impl_->loopThread.store(std::this_thread::get_id(), std::memory_order_relaxed);
    driveTransfers();
    bool didWork = fireDueTimers();
    didWork = runPostedTasks() || didWork;
    if (!didWork && maxWaitMicros > 0) {
        idleUntil(std::min(saturatingAdd(monotonicMicros(), maxWaitMicros), nextDueMicros()));
    }
    return didWork;
}

void QMRunLoop::idleUntil(int64_t wakeMicros) {
    pollIO(wakeMicros == kForever ? kForever : wakeMicros - monotonicMicros());
}

void QMRunLoop::pollIO(int64_t timeoutMicros) {
    const int64_t curl = impl_->curl.deadlineMicros;
    if (curl != kForever) {
        timeoutMicros = std::min(timeoutMicros, std::max<int64_t>(curl - realMonotonicMicros(), 0));
    }
    // The events the wait returns are kept for driveTransfers(), which would otherwise ask again.
    impl_->readyCount = epoll_wait(impl_->epollFd, impl_->ready, kReadyEvents, waitMillis(timeoutMicros));
}

int64_t QMRunLoop::nextDueMicros() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    int64_t next = kForever;
    for (const auto& entry : impl_->schedule) {
        next = std::min(next, entry.due());
    }
    return next;
}

void QMRunLoop::setCallbackObserver(CallbackObserver observer) {
    impl_->callbackObserver = std::move(observer);
}

void QMRunLoop::runCallback(const std::function<void()>& work) {
    if (!impl_->callbackObserver) {
        runGuarded(work);
        return;
    }
    // Copied: the callback may replace the observer.
    const CallbackObserver observer = impl_->callbackObserver;
    const auto started = std::chrono::steady_clock::now();
    runGuarded(work);
    observer(std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - started)
                 .count());
}

bool QMRunLoop::runPostedTasks() {
    // Only what was posted before this pass: a task that posts again does not starve timers.
    // Tasks are taken one at a time so that a nested loop inside a task keeps the order.
    std::size_t budget;
    {
        std::lock_guard<std::mutex> lock(impl_->mutex);
        budget = impl_->tasks.size();
    }
    bool didWork = false;
    for (; budget > 0; --budget) {
        std::function<void()> task;
        {
            std::lock_guard<std::mutex> lock(impl_->mutex);
            if (impl_->tasks.empty()) {
                break;
            }
            task = std::move(impl_->tasks.front());
            impl_->tasks.pop_front();
        }
        runCallback(task);
        didWork = true;
    }
    return didWork;
}

bool QMRunLoop::fireDueTimers() {
    const int64_t now = monotonicMicros();
    std::vector<Impl::Scheduled> due;
    {
        std::lock_guard<std::mutex> lock(impl_->mutex);
        auto& schedule = impl_->schedule;
        for (auto it = schedule.begin(); it != schedule.end();) {
            if (it->due() > now) {
                ++it;
            } else if (it->timer) {
                due.push_back(*it);  // stays scheduled: a repeating timer re-arms itself
                ++it;
            } else {
                due.push_back(std::move(*it));
                it = schedule.erase(it);
            }
        }
    }
    std::stable_sort(due.begin(), due.end(), [](const Impl::Scheduled& a, const Impl::Scheduled& b) {
        return a.due() != b.due() ? a.due() < b.due() : a.sequence < b.sequence;
    });
    for (auto& entry : due) {
        if (!entry.timer) {
            runCallback(entry.task);
        } else if (entry.timer->isValid() && entry.timer->fireTimeMicros() <= now) {
            // Checked at the moment of firing: an earlier callback of this pass may have
            // invalidated the timer, or fired it already from a nested run of the loop.
            checkThreadIfMain("QMTimer fire");
            runCallback([&] { entry.timer->fire(now); });
        }
    }
    return !due.empty();
}

void QMRunLoop::driveTransfers() {
    if (impl_->wakePending.exchange(false)) {
        uint64_t count = 0;
        [[maybe_unused]] const ssize_t drained = ::read(impl_->wakeFd, &count, sizeof count);
    }
    // Kept from this thread's wait (pollIO), or asked now when the loop did not wait (a busy loop,
    // or a host that waits on the backend descriptor itself).
    const int kept = std::exchange(impl_->readyCount, -1);
    const bool curlDue = realMonotonicMicros() >= impl_->curl.deadlineMicros;
    if (impl_->curl.watchedSockets.empty() && !curlDue) {
        return;
    }
    int running = 0;
    if (!impl_->curl.watchedSockets.empty()) {
        const int ready = kept >= 0 ? kept : epoll_wait(impl_->epollFd, impl_->ready, kReadyEvents, 0);
        for (int i = 0; i < ready; ++i) {
            const epoll_event event = impl_->ready[i];
            if (event.data.fd == impl_->wakeFd) {
                continue;
            }
            const int flags = ((event.events & EPOLLIN) ? CURL_CSELECT_IN : 0) |
                              ((event.events & EPOLLOUT) ? CURL_CSELECT_OUT : 0) |
                              ((event.events & (EPOLLERR | EPOLLHUP)) ? CURL_CSELECT_ERR : 0);
            curl_multi_socket_action(impl_->multi, event.data.fd, flags, &running);
        }
    }
    if (realMonotonicMicros() >= impl_->curl.deadlineMicros) {
        // libcurl's timer is one-shot: it calls the timer callback again only when its next
        // deadline differs from the last one it gave. Kept, a deadline that has passed would have
        // every pass call libcurl and wait for nothing (a busy loop until the answer comes).
        impl_->curl.deadlineMicros = kNever;
        curl_multi_socket_action(impl_->multi, CURL_SOCKET_TIMEOUT, 0, &running);
    }
    int queued = 0;
    while (CURLMsg* message = curl_multi_info_read(impl_->multi, &queued)) {
        if (message->msg != CURLMSG_DONE) {
            continue;
        }
        QMURLTransfer* raw = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &raw);
        const CURLcode result = message->data.result;
        std::shared_ptr<QMURLTransfer> transfer;
        {
            std::lock_guard<std::mutex> lock(impl_->mutex);
            auto it = impl_->transfers.find(raw);
            if (it != impl_->transfers.end()) {
                transfer = std::move(it->second);
                impl_->transfers.erase(it);
            }
        }
        if (transfer) {
            curl_multi_remove_handle(impl_->multi, transfer->easyHandle());
            transfer->completed(result);
        }
    }
}

QMVirtualRunLoop::QMVirtualRunLoop(int64_t startMillis) : virtualMicros_(startMillis * 1000) {}

int64_t QMVirtualRunLoop::nowMicros() const { return virtualMicros_.load(); }

int64_t QMVirtualRunLoop::monotonicMicros() const { return virtualMicros_.load(); }

void QMVirtualRunLoop::advanceBy(int64_t ms) { runUntilMicros(monotonicMicros() + ms * 1000, false); }

void QMVirtualRunLoop::idleUntil(int64_t wakeMicros) {
    // Real I/O in flight, here or on the URL session's worker, holds the virtual clock still
    // until it has completed; with nothing scheduled at all, wait (really) for work posted from
    // another thread.
    if (transferCount() > 0 || outsideWorkCount() > 0 || wakeMicros == kForever) {
        pollIO(kRealWaitSliceMicros);
        return;
    }
    if (hasPendingTasks()) {
        return;
    }
    int64_t current = virtualMicros_.load();
    while (wakeMicros > current && !virtualMicros_.compare_exchange_weak(current, wakeMicros)) {
    }
}

}  // namespace veyrakit
