#pragma once
#include <curl/curl.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/QMURLRequest.h"
#include "platform/QMURLTransport.h"
#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

class QMRunLoop;

// One HTTP exchange as the run loop drives it: a libcurl easy handle in the loop's multi handle.
// Events reach the client through the loop's task queue, never from inside libcurl's callbacks,
// so a client may cancel, start other transfers or run a nested loop while handling one.
// Order: response, data chunks, then finish or failure (a failure may come first).
class QMURLTransfer : public QMObject, public QMURLExchange {
  public:
    using Events = QMURLTransport::Events;

    // Adds a transfer to `loop`, which keeps it until it has completed or been cancelled.
    // Must be called on the loop's thread (or while the loop is not running).
    static std::shared_ptr<QMURLTransfer> start(const std::shared_ptr<QMRunLoop>& loop,
                                                std::shared_ptr<QMURLRequest> request, Events events);

    // The URL loading error for a libcurl result.
    static std::shared_ptr<QMError> errorForResult(CURLcode result);

    QMURLTransfer(std::weak_ptr<QMRunLoop> loop, std::shared_ptr<QMURLRequest> request, Events events);
    ~QMURLTransfer() override;

    void cancel() override;  // no further events
    CURL* easyHandle() const { return easy_; }
    // Called by the loop when libcurl reports the transfer done; the handle is already out of
    // the multi handle.
    void completed(CURLcode result);

  private:
    static size_t onHeader(char* buffer, size_t size, size_t count, void* self);
    static size_t onBody(char* buffer, size_t size, size_t count, void* self);
    static int onPrerequest(void* self, char* primaryIP, char* localIP, int primaryPort, int localPort);
    void configure();
    void configureMethodAndBody();
    void configureHeaders();
    void headerLine(std::string line);
    void postResponse();
    std::shared_ptr<QMError> failureFor(CURLcode result) const;
    void post(std::function<void(QMURLTransfer&)> step);

    std::weak_ptr<QMRunLoop> loop_;
    std::shared_ptr<QMURLRequest> request_;
    Events events_;
    CURL* easy_ = nullptr;
    curl_slist* headerList_ = nullptr;
    long status_ = 0;
    QMURLRequest::Headers responseHeaders_;
    int attempts_ = 0;  // requests libcurl has been about to send
    bool resendRefused_ = false;
    std::size_t received_ = 0;
    std::size_t maximumLength_ = 0;
    bool tooLong_ = false;
    bool responsePosted_ = false;
    bool cancelled_ = false;
};

}  // namespace veyrakit
