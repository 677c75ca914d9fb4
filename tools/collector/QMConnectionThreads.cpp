#include "collector/QMConnectionThreads.h"

namespace veyrakit {

QMConnectionThreads::QMConnectionThreads(std::function<void()> closeConnections)
    : closeConnections_(std::move(closeConnections)) {}

QMConnectionThreads::~QMConnectionThreads() { shutdown(); }

void QMConnectionThreads::enqueue(std::function<void()> work) {
    std::lock_guard lock(mutex_);
    joinFinished();
    Worker& worker = workers_.emplace_back();
    worker.thread = std::thread([&worker, work = std::move(work)] {
        work();
        worker.done = true;
    });
}

void QMConnectionThreads::shutdown() {
    closeConnections_();
    std::lock_guard lock(mutex_);
    for (auto& worker : workers_) {
        if (worker.thread.joinable()) worker.thread.join();
    }
    workers_.clear();
}

void QMConnectionThreads::joinFinished() {
    for (auto worker = workers_.begin(); worker != workers_.end();) {
        if (!worker->done) {
            ++worker;
            continue;
        }
        worker->thread.join();
        worker = workers_.erase(worker);
    }
}

}  // namespace veyrakit
