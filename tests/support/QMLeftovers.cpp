#include "support/QMLeftovers.h"

#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

namespace {

void describe(std::string& text, std::size_t count, const char* singular) {
    if (count == 0) {
        return;
    }
    text += text.empty() ? "" : ", ";
    text += std::to_string(count) + " " + singular + (count == 1 ? "" : "s");
}

// Registrations that began before the baseline and ended during the test are not leftovers.
std::size_t above(std::size_t now, std::size_t baseline) { return now > baseline ? now - baseline : 0; }

}  // namespace

QMLeftovers QMLeftovers::processWide() {
    return {.observations = QMObject::liveObservationCount(),
            .notificationObservers = QMNotificationCenter::defaultCenter()->observerCount()};
}

QMLeftovers QMLeftovers::processWideSince(const QMLeftovers& baseline) {
    const QMLeftovers now = processWide();
    return {.observations = above(now.observations, baseline.observations),
            .notificationObservers = above(now.notificationObservers, baseline.notificationObservers)};
}

QMLeftovers QMLeftovers::inLoop(const QMRunLoop& loop) {
    return {.timers = loop.timerCount(), .transfers = loop.transferCount(), .tasks = loop.taskCount()};
}

QMLeftovers QMLeftovers::operator+(const QMLeftovers& other) const {
    return {.timers = timers + other.timers,
            .transfers = transfers + other.transfers,
            .tasks = tasks + other.tasks,
            .observations = observations + other.observations,
            .notificationObservers = notificationObservers + other.notificationObservers};
}

std::string QMLeftovers::description() const {
    std::string text;
    describe(text, timers, "timer");
    describe(text, transfers, "URL transfer");
    describe(text, tasks, "pending task");
    describe(text, observations, "key-value observation");
    describe(text, notificationObservers, "notification registration");
    return text.empty() ? "nothing" : text;
}

QMLeftovers timers(std::size_t count) { return {.timers = count}; }
QMLeftovers transfers(std::size_t count) { return {.transfers = count}; }
QMLeftovers tasks(std::size_t count) { return {.tasks = count}; }
QMLeftovers observations(std::size_t count) { return {.observations = count}; }
QMLeftovers notificationObservers(std::size_t count) { return {.notificationObservers = count}; }

}  // namespace veyrakit
