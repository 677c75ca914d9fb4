#pragma once
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

// A mutable HTTP request: method, URL, ordered headers and body, sent exactly as given.
class VEYRAKIT_EXPORT QMURLRequest : public QMObject {
  public:
    using Headers = std::vector<std::pair<std::string, std::string>>;

    static std::shared_ptr<QMURLRequest> requestWithURL(std::shared_ptr<QMURL> url);
    explicit QMURLRequest(std::shared_ptr<QMURL> url);

    std::shared_ptr<QMURLRequest> copy() const;

    const std::shared_ptr<QMURL>& URL() const { return url_; }
    const std::string& HTTPMethod() const { return method_; }  // "GET" by default
    void setHTTPMethod(const std::string& method) { method_ = method; }

    // Sets a header; a field already present (compared case-insensitively) keeps its position.
    void setValue(const std::string& value, const std::string& forHTTPHeaderField);
    std::optional<std::string> valueForHTTPHeaderField(const std::string& field) const;
    const Headers& allHTTPHeaderFields() const { return headers_; }

    const std::optional<std::string>& HTTPBody() const { return body_; }
    void setHTTPBody(std::optional<std::string> body) { body_ = std::move(body); }

    // Seconds the whole exchange may take; 0 means the platform default
    // (QMURLLoadingLimits::defaultTimeoutInterval(), 60 s).
    double timeoutInterval() const { return timeout_; }
    void setTimeoutInterval(double seconds) { timeout_ = seconds; }

  private:
    std::shared_ptr<QMURL> url_;
    std::string method_ = "GET";
    Headers headers_;
    std::optional<std::string> body_;
    double timeout_ = 0;
};

class VEYRAKIT_EXPORT QMHTTPURLResponse : public QMObject {
  public:
    QMHTTPURLResponse(std::shared_ptr<QMURL> url, long statusCode, QMURLRequest::Headers headers);
    long statusCode() const { return statusCode_; }
    const std::shared_ptr<QMURL>& URL() const { return url_; }
    const QMURLRequest::Headers& allHeaderFields() const { return headers_; }
    std::optional<std::string> valueForHTTPHeaderField(const std::string& field) const;

  private:
    std::shared_ptr<QMURL> url_;
    long statusCode_;
    QMURLRequest::Headers headers_;
};

}  // namespace veyrakit
