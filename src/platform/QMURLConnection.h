#pragma once
#include <memory>
#include <string>

#include "platform/QMURLRequest.h"
#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

class QMURLConnection;
class QMURLExchange;

// Receives a connection's events on the main run loop (checked in debug builds), in this order: one response,
// zero or more data chunks, then either connectionDidFinishLoading or a failure (a failure may also come
// before any response: refused connection, DNS failure, reset).
class VEYRAKIT_EXPORT QMURLConnectionDelegate {
  public:
    virtual ~QMURLConnectionDelegate() = default;
    virtual void connection(QMURLConnection& connection,
                            const std::shared_ptr<QMHTTPURLResponse>& didReceiveResponse) = 0;
    virtual void connection(QMURLConnection& connection, const std::string& didReceiveData) = 0;
    virtual void connectionDidFinishLoading(QMURLConnection& connection) = 0;
    virtual void connection(QMURLConnection& connection,
                            const std::shared_ptr<QMError>& didFailWithError) = 0;
};

// An asynchronous HTTP exchange scheduled on the main run loop (through the loop's URL transport:
// libcurl multi unless another transport is installed). The connection holds its delegate strongly while it
// runs and lets it go when it has finished, failed or been cancelled; the run loop keeps the
// connection alive meanwhile, so the creator may drop its reference at once. HTTPS certificates
// are verified. The request is copied when the connection is made.
class VEYRAKIT_EXPORT QMURLConnection : public QMObject {
  public:
    static std::shared_ptr<QMURLConnection> connectionWithRequest(
        const std::shared_ptr<QMURLRequest>& request, std::shared_ptr<QMURLConnectionDelegate> delegate,
        bool startImmediately = true);

    void start();
    void cancel();  // no further delegate calls
    const std::shared_ptr<QMURLRequest>& originalRequest() const { return request_; }

    QMURLConnection(std::shared_ptr<QMURLRequest> request, std::shared_ptr<QMURLConnectionDelegate> delegate);
    ~QMURLConnection() override;

    // Used by the transport to deliver events; each forwards to the delegate while it is held.
    void deliverResponse(const std::shared_ptr<QMHTTPURLResponse>& response);
    void deliverData(const std::string& data);
    void deliverFinish();
    void deliverFailure(const std::shared_ptr<QMError>& error);

  private:
    std::shared_ptr<QMURLRequest> request_;
    std::shared_ptr<QMURLConnectionDelegate> delegate_;
    // The loop or the transport owns the exchange (and through it this connection) while it runs.
    std::weak_ptr<QMURLExchange> exchange_;
    bool started_ = false;
};

}  // namespace veyrakit
