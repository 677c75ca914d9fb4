#include "platform/QMURLSession.h"

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <thread>
#include <utility>

#include "platform/QMSharedSlot.h"
#include "platform/QMURLTransport.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

namespace {

// What a data task has received so far; the completion gets it all at once.
struct Received {
    std::shared_ptr<QMHTTPURLResponse> response;
    std::string data;
};

QMURLTransport::Events collectInto(const std::shared_ptr<Received>& received,
                                   const std::function<void(const std::shared_ptr<QMError>&)>& done) {
    return {
        [received](const std::shared_ptr<QMHTTPURLResponse>& response) { received->response = response; },
        [received](const std::string& data) { received->data += data; },
        [done] { done(nullptr); },
        [done](const std::shared_ptr<QMError>& error) { done(error); },
    };
}

// One task's share of the main loop's outside work: ended once its completion has run, or when
// the task is dropped unfinished (the worker shut down), so that a virtual clock never waits for
// a completion that will not come.
class OutsideWork {
  public:
    explicit OutsideWork(std::shared_ptr<QMRunLoop> loop) : loop_(std::move(loop)) {
        loop_->beginOutsideWork();
    }
    OutsideWork(const OutsideWork&) = delete;
    OutsideWork& operator=(const OutsideWork&) = delete;
    ~OutsideWork() { end(); }
    void end() {
        if (!ended_.exchange(true)) {
            loop_->endOutsideWork();
        }
    }

  private:
    std::shared_ptr<QMRunLoop> loop_;
    std::atomic<bool> ended_{false};
};

void complete(const std::shared_ptr<QMURLSessionDataTask>& task, const Received& received,
              const std::shared_ptr<QMError>& error) {
    // Taken out of the task so that a handler capturing its own task does not keep it alive.
    auto handler = std::exchange(task->completionHandler(), nullptr);
    if (handler) {
        handler(error ? std::nullopt : std::optional<std::string>(received.data), received.response, error);
    }
}

}  // namespace

struct QMURLSession::Impl {
    std::mutex mutex;
    std::condition_variable idle;
    std::shared_ptr<QMRunLoop> worker;
    std::thread thread;
    int pending = 0;
};

QMURLSession::QMURLSession() : impl_(std::make_unique<Impl>()) {}

QMURLSession::~QMURLSession() { shutdown(); }

std::shared_ptr<QMURLSession> QMURLSession::sharedSession() {
    // Shut down (worker joined) before the process ends.
    static QMSharedSlot<QMURLSession> slot([](QMURLSession& session) { session.shutdown(); });
    return slot.get();
}

std::shared_ptr<QMURLSessionDataTask> QMURLSession::dataTaskWithRequest(
    const std::shared_ptr<QMURLRequest>& request, CompletionHandler completionHandler) {
    return std::make_shared<QMURLSessionDataTask>(selfAs<QMURLSession>(), request ? request->copy() : nullptr,
                                                  std::move(completionHandler));
}

std::shared_ptr<QMURLSessionDataTask> QMURLSession::dataTaskWithURL(const std::shared_ptr<QMURL>& url,
                                                                    CompletionHandler completionHandler) {
    return dataTaskWithRequest(QMURLRequest::requestWithURL(url), std::move(completionHandler));
}

void QMURLSession::enqueue(std::shared_ptr<QMURLSessionDataTask> task) {
    auto mainLoop = QMRunLoop::mainRunLoop();
    auto transport = mainLoop->URLTransport();
    if (transport->answersOnMainLoop()) {
        enqueueOnMainLoop(task, transport);
        return;
    }
    std::weak_ptr<QMURLSession> weakSelf = selfAs<QMURLSession>();
    std::weak_ptr<QMRunLoop> weakWorker = beginWork();  // counted until the completion has run
    auto outsideWork = std::make_shared<OutsideWork>(mainLoop);
    auto finished = [weakSelf, task, outsideWork](const Received& received,
                                                  const std::shared_ptr<QMError>& error) {
        if (auto self = weakSelf.lock()) {
            self->finishWork([&] { complete(task, received, error); });
        }
        outsideWork->end();
    };
    weakWorker.lock()->post([weakWorker, transport, task, finished] {
        auto worker = weakWorker.lock();
        auto received = std::make_shared<Received>();
        transport->start(worker, task->originalRequest(),
                         collectInto(received, [received, finished](const std::shared_ptr<QMError>& error) {
                             finished(*received, error);
                         }));
    });
}

void QMURLSession::enqueueOnMainLoop(const std::shared_ptr<QMURLSessionDataTask>& task,
                                     const std::shared_ptr<QMURLTransport>& transport) {
    // The answer is played on the main loop, so that delays follow its (possibly virtual) clock;
    // the completion then runs on the worker like any other.
    auto received = std::make_shared<Received>();
    std::weak_ptr<QMURLSession> weakSelf = selfAs<QMURLSession>();
    auto handOver = [weakSelf, task, received](const std::shared_ptr<QMError>& error) {
        auto self = weakSelf.lock();
        if (!self) {
            return;
        }
        auto outsideWork = std::make_shared<OutsideWork>(QMRunLoop::mainRunLoop());
        self->beginWork()->post([weakSelf, task, received, error, outsideWork] {
            if (auto owner = weakSelf.lock()) {
                owner->finishWork([&] { complete(task, *received, error); });
            }
            outsideWork->end();
        });
    };
    transport->start(QMRunLoop::mainRunLoop(), task->originalRequest(), collectInto(received, handOver));
}

std::shared_ptr<QMRunLoop> QMURLSession::beginWork() {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    if (!impl_->worker) {
        impl_->worker = std::make_shared<QMRunLoop>();
        impl_->thread = std::thread([loop = impl_->worker] {
            // Named, so that a host can tell the SDK's thread apart in its tools (top, gdb, perf).
            pthread_setname_np(pthread_self(), "veyrakit-url");
            loop->run();
        });
    }
    ++impl_->pending;
    return impl_->worker;
}

void QMURLSession::finishWork(const std::function<void()>& completion) {
    struct Done {
        Impl& impl;
        ~Done() {
            std::lock_guard<std::mutex> lock(impl.mutex);
            if (impl.pending > 0) {
                --impl.pending;
            }
            impl.idle.notify_all();
        }
    } done{*impl_};
    completion();
}

void QMURLSession::waitForIdle() {
    std::unique_lock<std::mutex> lock(impl_->mutex);
    impl_->idle.wait(lock, [this] { return impl_->pending == 0; });
}

void QMURLSession::shutdown() {
    std::shared_ptr<QMRunLoop> worker;
    std::thread thread;
    {
        std::lock_guard<std::mutex> lock(impl_->mutex);
        worker = std::move(impl_->worker);
        thread = std::move(impl_->thread);
        // Work not yet run is dropped with the worker's loop.
        impl_->pending = 0;
    }
    impl_->idle.notify_all();
    if (!worker) {
        return;
    }
    worker->stop();
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();  // shut down from one of its own completion handlers
    } else if (thread.joinable()) {
        thread.join();
    }
}

QMURLSessionDataTask::QMURLSessionDataTask(std::weak_ptr<QMURLSession> session,
                                           std::shared_ptr<QMURLRequest> request,
                                           QMURLSession::CompletionHandler handler)
    : session_(std::move(session)), request_(std::move(request)), handler_(std::move(handler)) {}

void QMURLSessionDataTask::resume() {
    if (resumed_ || !request_) {
        return;
    }
    resumed_ = true;
    if (auto session = session_.lock()) {
        session->enqueue(selfAs<QMURLSessionDataTask>());
    }
}

}  // namespace veyrakit
