#pragma once
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMURLRequest.h"
#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

class QMURLSessionDataTask;

// The shared URL session: data tasks run on the session's own worker thread and their
// completion handlers run there too (not on the main loop). Exchanges go through the main
// loop's URL transport.
class VEYRAKIT_EXPORT QMURLSession : public QMObject {
  public:
    using CompletionHandler = std::function<void(const std::optional<std::string>& data,
                                                 const std::shared_ptr<QMHTTPURLResponse>& response,
                                                 const std::shared_ptr<QMError>& error)>;

    static std::shared_ptr<QMURLSession> sharedSession();

    std::shared_ptr<QMURLSessionDataTask> dataTaskWithRequest(const std::shared_ptr<QMURLRequest>& request,
                                                              CompletionHandler completionHandler);
    std::shared_ptr<QMURLSessionDataTask> dataTaskWithURL(const std::shared_ptr<QMURL>& url,
                                                          CompletionHandler completionHandler);

    // Blocks until the worker has run the completion of every task handed to it so far (tests
    // and orderly shutdown). A stubbed task is handed over when the main loop delivers its
    // answer, so run the main loop first when stubs answer with a delay.
    void waitForIdle();
    // Stops the worker thread (joined); a later task restarts it.
    void shutdown();

    QMURLSession();
    ~QMURLSession() override;

  private:
    friend class QMURLSessionDataTask;
    void enqueue(std::shared_ptr<QMURLSessionDataTask> task);
    void enqueueOnMainLoop(const std::shared_ptr<QMURLSessionDataTask>& task,
                           const std::shared_ptr<class QMURLTransport>& transport);
    // Counts one piece of work until workDone(); returns the worker's loop, started if needed.
    std::shared_ptr<class QMRunLoop> beginWork();
    // Runs a completion on the worker and ends its count, even when the completion throws.
    void finishWork(const std::function<void()>& completion);
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

class VEYRAKIT_EXPORT QMURLSessionDataTask : public QMObject {
  public:
    QMURLSessionDataTask(std::weak_ptr<QMURLSession> session, std::shared_ptr<QMURLRequest> request,
                         QMURLSession::CompletionHandler handler);
    void resume();
    const std::shared_ptr<QMURLRequest>& originalRequest() const { return request_; }
    QMURLSession::CompletionHandler& completionHandler() { return handler_; }

  private:
    std::weak_ptr<QMURLSession> session_;
    std::shared_ptr<QMURLRequest> request_;
    QMURLSession::CompletionHandler handler_;
    bool resumed_ = false;
};

}  // namespace veyrakit
