#include "reporting/QMJSONPostRequest.h"

#include <utility>

#include "platform/QMFormat.h"

namespace veyrakit {

const std::string& QMJSONPostRequest::CONTENT_TYPE_JSON() {
    static const std::string value = "application/json";
    return value;
}

const std::string& QMJSONPostRequest::HTTP_METHOD_POST() {
    static const std::string value = "POST";
    return value;
}

std::shared_ptr<QMURLRequest> QMJSONPostRequest::requestWithURL(std::shared_ptr<QMURL> url, std::string body,
                                                                const QMURLRequest::Headers& leadingHeaders) {
    auto request = requestWithoutBody(std::move(url), leadingHeaders);
    setBody(*request, std::move(body));
    return request;
}

std::shared_ptr<QMURLRequest> QMJSONPostRequest::requestWithoutBody(
    std::shared_ptr<QMURL> url, const QMURLRequest::Headers& leadingHeaders, const std::string& contentType,
    const std::string& method) {
    auto request = QMURLRequest::requestWithURL(std::move(url));
    request->setHTTPMethod(method);
    for (const auto& [field, value] : leadingHeaders) {
        request->setValue(value, field);
    }
    request->setValue(contentType, "Content-Type");
    return request;
}

void QMJSONPostRequest::setBody(QMURLRequest& request, std::optional<std::string> body) {
    const long length = body ? static_cast<long>(body->size()) : 0L;
    request.setValue(QMFormat("%ld", length), "Content-Length");
    request.setHTTPBody(std::move(body));
}

}  // namespace veyrakit
