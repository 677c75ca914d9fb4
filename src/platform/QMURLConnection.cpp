#include "platform/QMURLConnection.h"

#include <utility>

#include "platform/QMThreadChecker.h"
#include "platform/QMURLTransport.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

namespace {

QMURLTransport::Events eventsFor(const std::shared_ptr<QMURLConnection>& connection) {
    return {
        [connection](const std::shared_ptr<QMHTTPURLResponse>& response) {
            connection->deliverResponse(response);
        },
        [connection](const std::string& data) { connection->deliverData(data); },
        [connection] { connection->deliverFinish(); },
        [connection](const std::shared_ptr<QMError>& error) { connection->deliverFailure(error); },
    };
}

}  // namespace

std::shared_ptr<QMURLConnection> QMURLConnection::connectionWithRequest(
    const std::shared_ptr<QMURLRequest>& request, std::shared_ptr<QMURLConnectionDelegate> delegate,
    bool startImmediately) {
    auto connection =
        std::make_shared<QMURLConnection>(request ? request->copy() : nullptr, std::move(delegate));
    if (startImmediately) {
        connection->start();
    }
    return connection;
}

QMURLConnection::QMURLConnection(std::shared_ptr<QMURLRequest> request,
                                 std::shared_ptr<QMURLConnectionDelegate> delegate)
    : request_(std::move(request)), delegate_(std::move(delegate)) {}

QMURLConnection::~QMURLConnection() = default;

void QMURLConnection::start() {
    if (started_ || !delegate_ || !request_) {
        return;
    }
    started_ = true;
    auto loop = QMRunLoop::mainRunLoop();
    exchange_ = loop->URLTransport()->start(loop, request_, eventsFor(selfAs<QMURLConnection>()));
}

void QMURLConnection::cancel() {
    auto released = std::move(delegate_);
    delegate_ = nullptr;
    if (auto exchange = exchange_.lock()) {
        exchange->cancel();
    }
}

// Each delivery holds the delegate for the length of the call: the delegate may cancel the
// connection (dropping the connection's reference) from inside its own callback.
void QMURLConnection::deliverResponse(const std::shared_ptr<QMHTTPURLResponse>& response) {
    QM_DCHECK_ON_MAIN_LOOP_THREAD("QMURLConnection response delivery");
    if (auto delegate = delegate_) {
        delegate->connection(*this, response);
    }
}

void QMURLConnection::deliverData(const std::string& data) {
    QM_DCHECK_ON_MAIN_LOOP_THREAD("QMURLConnection data delivery");
    if (auto delegate = delegate_) {
        delegate->connection(*this, data);
    }
}

void QMURLConnection::deliverFinish() {
    QM_DCHECK_ON_MAIN_LOOP_THREAD("QMURLConnection finish delivery");
    if (auto delegate = std::exchange(delegate_, nullptr)) {
        delegate->connectionDidFinishLoading(*this);
    }
}

void QMURLConnection::deliverFailure(const std::shared_ptr<QMError>& error) {
    QM_DCHECK_ON_MAIN_LOOP_THREAD("QMURLConnection failure delivery");
    if (auto delegate = std::exchange(delegate_, nullptr)) {
        delegate->connection(*this, error);
    }
}

}  // namespace veyrakit
