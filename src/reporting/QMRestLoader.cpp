#include "reporting/QMRestLoader.h"

#include <exception>

#include "logging/QMLogger.h"
#include "platform/QMConsole.h"
#include "platform/QMException.h"
#include "platform/QMFormat.h"
#include "reporting/QMJSONPostRequest.h"

namespace veyrakit {

namespace {
constexpr std::size_t kResponseBufferCapacity = 2048;
}

const std::string& QMRestLoader::CONTENT_TYPE_JSON() { return QMJSONPostRequest::CONTENT_TYPE_JSON(); }

const std::string& QMRestLoader::HTTP_METHOD_POST() { return QMJSONPostRequest::HTTP_METHOD_POST(); }

const std::string& QMRestLoader::HTTP_METHOD_GET() {
    static const std::string value = "GET";
    return value;
}

std::shared_ptr<QMRestLoader> QMRestLoader::initWithContentType(const std::string& cType,
                                                                std::shared_ptr<QMURL> withURL,
                                                                const std::string& httpMethod) {
    return std::make_shared<QMRestLoader>(cType, std::move(withURL), httpMethod);
}

QMRestLoader::QMRestLoader(const std::string& cType, std::shared_ptr<QMURL> withURL,
                           const std::string& httpMethod)
    : cType_(cType), loadingUrl_(std::move(withURL)) {
    request_ = QMJSONPostRequest::requestWithoutBody(loadingUrl_, {}, cType_, httpMethod);
}

void QMRestLoader::loadWithData(const std::optional<QMJSON>& data, CompleteCallback onCompleteCallback,
                                FailedCallback onFailedCallback) {
    if (!data) {
        QMLogger::info("agent want send null data!!!!", "X");
        return;
    }
    onCompleteCallback_ = std::move(onCompleteCallback);
    onFailedCallback_ = std::move(onFailedCallback);
    std::optional<std::string> body;
    if (cType_ == CONTENT_TYPE_JSON()) {
        body = QMJSONSerialization::dataWithJSONObject(*data);
    }
    QMJSONPostRequest::setBody(*request_, std::move(body));
    startConnection();
}

void QMRestLoader::startConnection() {
    // The connection holds its delegate until it ends: that keeps this loader alive.
    QMURLConnection::connectionWithRequest(request_, selfAs<QMRestLoader>(), true);
}

void QMRestLoader::connection(QMURLConnection&,
                              const std::shared_ptr<QMHTTPURLResponse>& didReceiveResponse) {
    const long status = didReceiveResponse ? didReceiveResponse->statusCode() : 0;
    if (status < 300) {
        return;
    }
    // Not cancelled: the error body is still read and handed to the complete callback later.
    QMLogger::info(QMFormat("Reporter received non-200 response code:%d", status), "X");
    if (onFailedCallback_) {
        onFailedCallback_(static_cast<int32_t>(status));
    }
}

void QMRestLoader::appendResponseData(std::optional<std::string>& buffer, const std::string& data) {
    if (!buffer) {
        buffer.emplace();
        buffer->reserve(kResponseBufferCapacity);
    }
    buffer->append(data);
}

void QMRestLoader::connection(QMURLConnection&, const std::string& didReceiveData) {
    appendResponseData(connectionData_, didReceiveData);
}

void QMRestLoader::connectionDidFinishLoading(QMURLConnection&) {
    std::optional<QMJSON> parsed;
    try {
        if (connectionData_) {
            parsed = QMJSONSerialization::JSONObjectWithData(*connectionData_);
        }
        connectionData_.reset();
        request_.reset();
        if (onCompleteCallback_) {
            onCompleteCallback_(parsed);
        }
    } catch (const std::exception& exception) {
        QMConsoleLog("Exception: %@", exception.what());
        if (parsed) {
            QMConsoleLog("connection finish load error, response: %@", *parsed);
        } else {
            QMConsoleLog("connection finish load error, response: %@", nullptr);
        }
    }
}

void QMRestLoader::connection(QMURLConnection&, const std::shared_ptr<QMError>& didFailWithError) {
    QMLogger::info(QMFormat("Reporter failed with error:%@", didFailWithError), "X");
    if (retryCount_ > 2) {
        request_.reset();
        if (onFailedCallback_) {
            onFailedCallback_(0);
        }
        return;
    }
    QMLogger::info(QMFormat("Reporter retry :  %d", retryCount_), "IR");
    ++retryCount_;
    startConnection();
}

}  // namespace veyrakit
