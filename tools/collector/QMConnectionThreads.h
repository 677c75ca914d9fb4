#pragma once
#include <httplib.h>

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace veyrakit {

// httplib's task queue as a thread per connection: a slow or idle client holds its own thread
// and no other's (a fixed pool lets eight slow clients starve every other request). The number
// of connections, and so of threads, is bounded by QMConnectionRegistry; a finished thread is
// joined when the next one starts. At shutdown `closeConnections` ends the open connections
// first, so that joining does not wait for their clients.
class QMConnectionThreads : public httplib::TaskQueue {
  public:
    explicit QMConnectionThreads(std::function<void()> closeConnections);
    ~QMConnectionThreads() override;
    QMConnectionThreads(const QMConnectionThreads&) = delete;
    QMConnectionThreads& operator=(const QMConnectionThreads&) = delete;

    void enqueue(std::function<void()> work) override;
    void shutdown() override;

  private:
    struct Worker {
        std::thread thread;
        std::atomic<bool> done{false};
    };

    void joinFinished();

    std::function<void()> closeConnections_;
    std::mutex mutex_;
    std::list<Worker> workers_;  // a list: a running thread refers to its own element
};

}  // namespace veyrakit
