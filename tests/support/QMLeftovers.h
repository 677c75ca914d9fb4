#pragma once
#include <cstddef>
#include <string>

namespace veyrakit {

class QMRunLoop;

// What can outlive a test without anyone noticing: timers scheduled, URL transfers in flight and
// tasks not yet run (a stubbed answer on its way is one) on a run loop, key-value observations still
// registered on live objects, and registrations in the default notification centre. The last two are
// process-wide, so they are counted from a baseline taken when the test began.
struct QMLeftovers {
    std::size_t timers = 0;
    std::size_t transfers = 0;
    std::size_t tasks = 0;
    std::size_t observations = 0;
    std::size_t notificationObservers = 0;

    // The process-wide counts now (the loop counts left at 0).
    static QMLeftovers processWide();
    // What the process holds now beyond `baseline`.
    static QMLeftovers processWideSince(const QMLeftovers& baseline);
    // The timers, transfers and tasks `loop` holds now.
    static QMLeftovers inLoop(const QMRunLoop& loop);

    QMLeftovers operator+(const QMLeftovers& other) const;
    bool operator==(const QMLeftovers& other) const = default;
    // "nothing", or e.g. "1 timer, 2 observations".
    std::string description() const;
};

QMLeftovers timers(std::size_t count);
QMLeftovers transfers(std::size_t count);
QMLeftovers tasks(std::size_t count);
QMLeftovers observations(std::size_t count);
QMLeftovers notificationObservers(std::size_t count);

}  // namespace veyrakit
