#include "veyrakit/platform/QMTimer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

namespace {
// The platform's timers never fire more often than every 0.1 ms; shorter or negative intervals
// are raised to it.
constexpr int64_t kMinimumIntervalMicros = 100;
}  // namespace

QMTimer::QMTimer(int64_t intervalMicros, Callback callback, bool repeats, int64_t firstFireMicros)
    : intervalMicros_(std::max(intervalMicros, kMinimumIntervalMicros)),
      callback_(std::move(callback)),
      repeats_(repeats),
      fireMicros_(firstFireMicros) {}

std::shared_ptr<QMTimer> QMTimer::scheduledTimerWithTimeInterval(double seconds, Callback callback,
                                                                 bool repeats) {
    return scheduledTimerWithTimeInterval(seconds, std::move(callback), repeats, QMRunLoop::mainRunLoop());
}

std::shared_ptr<QMTimer> QMTimer::scheduledTimerWithTimeInterval(double seconds, Callback callback,
                                                                 bool repeats,
                                                                 const std::shared_ptr<QMRunLoop>& loop) {
    const int64_t interval =
        std::max(std::llround(seconds * 1e6), static_cast<long long>(kMinimumIntervalMicros));
    auto timer =
        std::make_shared<QMTimer>(interval, std::move(callback), repeats, loop->monotonicMicros() + interval);
    timer->loop_ = loop;
    loop->addTimer(timer);
    return timer;
}

void QMTimer::invalidate() {
    if (!valid_) {
        return;
    }
    valid_ = false;
    // Released last: destroying the target may reach back into the loop or this timer.
    Callback released = std::move(callback_);
    callback_ = nullptr;
    if (auto loop = loop_.lock()) {
        loop->removeTimer(this);
    }
}

void QMTimer::fire(int64_t monotonicMicros) {
    if (!valid_) {
        return;
    }
    auto keepAlive = shared_from_this();
    // The callback is moved out while it runs so that invalidate() from inside it cannot
    // destroy the closure that is executing.
    Callback callback = std::move(callback_);
    callback_ = nullptr;
    struct Rearm {
        QMTimer& timer;
        Callback& callback;
        int64_t firedAt;
        ~Rearm() { timer.afterFire(callback, firedAt); }
    } rearm{*this, callback, monotonicMicros};
    callback(*this);
}

void QMTimer::afterFire(Callback& callback, int64_t firedAtMicros) {
    if (!valid_) {
        return;
    }
    if (!repeats_) {
        invalidate();
        return;
    }
    callback_ = std::move(callback);
    // Stay on the grid start + k * interval, and skip every grid point already behind us
    // (including time the callback itself took) rather than replaying them in a burst.
    int64_t now = firedAtMicros;
    if (auto loop = loop_.lock()) {
        now = std::max(now, loop->monotonicMicros());
    }
    if (fireMicros_ <= now) {
        fireMicros_ += ((now - fireMicros_) / intervalMicros_ + 1) * intervalMicros_;
    }
}

}  // namespace veyrakit
