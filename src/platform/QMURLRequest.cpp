#include "platform/QMURLRequest.h"

#include <strings.h>

#include <algorithm>

namespace veyrakit {

namespace {

bool sameField(const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) == 0; }

std::optional<std::string> findField(const QMURLRequest::Headers& headers, const std::string& field) {
    auto it = std::find_if(headers.begin(), headers.end(),
                           [&](const auto& h) { return sameField(h.first, field); });
    return it == headers.end() ? std::nullopt : std::optional<std::string>(it->second);
}

}  // namespace

std::shared_ptr<QMURLRequest> QMURLRequest::requestWithURL(std::shared_ptr<QMURL> url) {
    return std::make_shared<QMURLRequest>(std::move(url));
}

QMURLRequest::QMURLRequest(std::shared_ptr<QMURL> url) : url_(std::move(url)) {}

std::shared_ptr<QMURLRequest> QMURLRequest::copy() const {
    auto copied = std::make_shared<QMURLRequest>(url_);
    copied->method_ = method_;
    copied->headers_ = headers_;
    copied->body_ = body_;
    copied->timeout_ = timeout_;
    return copied;
}

void QMURLRequest::setValue(const std::string& value, const std::string& forHTTPHeaderField) {
    auto it = std::find_if(headers_.begin(), headers_.end(),
                           [&](const auto& h) { return sameField(h.first, forHTTPHeaderField); });
    if (it != headers_.end()) {
        it->second = value;
    } else {
        headers_.emplace_back(forHTTPHeaderField, value);
    }
}

std::optional<std::string> QMURLRequest::valueForHTTPHeaderField(const std::string& field) const {
    return findField(headers_, field);
}

QMHTTPURLResponse::QMHTTPURLResponse(std::shared_ptr<QMURL> url, long statusCode,
                                     QMURLRequest::Headers headers)
    : url_(std::move(url)), statusCode_(statusCode), headers_(std::move(headers)) {}

std::optional<std::string> QMHTTPURLResponse::valueForHTTPHeaderField(const std::string& field) const {
    return findField(headers_, field);
}

}  // namespace veyrakit
