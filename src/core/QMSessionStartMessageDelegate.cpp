#include "core/QMSessionStartMessageDelegate.h"

#include <utility>

#include "logging/QMLogger.h"
#include "platform/QMJSON.h"
#include "reporting/QMRestLoader.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

std::shared_ptr<QMSessionStartMessageDelegate> QMSessionStartMessageDelegate::init(
    std::shared_ptr<QMURLRequest> request) {
    request_ = std::move(request);
    onDemandReportRetried_ = 0;
    return selfAs<QMSessionStartMessageDelegate>();
}

void QMSessionStartMessageDelegate::connection(QMURLConnection&,
                                               const std::shared_ptr<QMHTTPURLResponse>& didReceiveResponse) {
    if (didReceiveResponse && didReceiveResponse->statusCode() >= 300) {
        QMLogger::info("Session start message received non-200 response code", "X");
    }
}

void QMSessionStartMessageDelegate::connection(QMURLConnection&, const std::string& didReceiveData) {
    QMRestLoader::appendResponseData(connectionData_, didReceiveData);
}

void QMSessionStartMessageDelegate::connectionDidFinishLoading(QMURLConnection&) {
    QMNotificationCenter::defaultCenter()->postNotificationName("sessionStartCompleted", shared_from_this());
    QMLogger::info("", "SR");
    // The answer carries nothing this delegate needs; it is parsed only to consume it.
    (void)QMJSONSerialization::JSONObjectWithData(connectionData_.value_or(""));
    connectionData_.reset();
    request_.reset();
}

void QMSessionStartMessageDelegate::connection(QMURLConnection&, const std::shared_ptr<QMError>&) {
    if (onDemandReportRetried_ > 2) {
        QMLogger::info("Error", "PR");
        QMNotificationCenter::defaultCenter()->postNotificationName("sessionStartFailed", shared_from_this());
        request_.reset();
        return;
    }
    ++onDemandReportRetried_;
    if (request_) {
        QMURLConnection::connectionWithRequest(request_, selfAs<QMSessionStartMessageDelegate>(), true);
    }
}

}  // namespace veyrakit
