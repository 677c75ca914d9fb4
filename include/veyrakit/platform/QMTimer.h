#pragma once
#include <cstdint>
#include <functional>
#include <memory>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

class QMRunLoop;

// NSTimer semantics on the main run loop. A repeating timer keeps its phase: it fires at
// start + k * interval; a late fire does not shift later ones and missed fires are not replayed
// in a burst. Fire times are on the loop's monotonic clock, so setting the wall clock does not
// move them. The callback (and whatever it captures: the timer's target) is held until the
// timer is invalidated, or until a one-shot timer has fired. invalidate() is safe from inside the
// timer's own callback.
class VEYRAKIT_EXPORT QMTimer : public QMObject {
  public:
    using Callback = std::function<void(QMTimer&)>;

    static std::shared_ptr<QMTimer> scheduledTimerWithTimeInterval(double seconds, Callback callback,
                                                                   bool repeats);
    static std::shared_ptr<QMTimer> scheduledTimerWithTimeInterval(double seconds, Callback callback,
                                                                   bool repeats,
                                                                   const std::shared_ptr<QMRunLoop>& loop);

    void invalidate();
    bool isValid() const { return valid_; }
    bool repeats() const { return repeats_; }
    double timeInterval() const { return static_cast<double>(intervalMicros_) / 1e6; }
    // The next fire time on the loop's monotonic clock.
    int64_t fireTimeMicros() const { return fireMicros_; }

    // Used by the run loop: runs the callback and computes the next fire time. `monotonicMicros`
    // is the loop's monotonic clock at the firing.
    void fire(int64_t monotonicMicros);

    QMTimer(int64_t intervalMicros, Callback callback, bool repeats, int64_t firstFireMicros);

  private:
    void afterFire(Callback& callback, int64_t firedAtMicros);
    int64_t intervalMicros_;
    Callback callback_;
    bool repeats_;
    bool valid_ = true;
    int64_t fireMicros_;
    std::weak_ptr<QMRunLoop> loop_;
    friend class QMRunLoop;
};

}  // namespace veyrakit
