#pragma once
#include <memory>
#include <optional>
#include <string>

#include "platform/QMURLRequest.h"
#include "veyrakit/platform/QMExport.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

// Builds the requests the SDK posts to its servers, with the headers in the order they go on the
// wire: the sender's leading headers, then "Content-Type", then "Content-Length" with the body.
class QMJSONPostRequest {
  public:
    static const std::string& CONTENT_TYPE_JSON();  // "application/json"
    static const std::string& HTTP_METHOD_POST();   // "POST"

    // A POST of a JSON body: leadingHeaders in their order, "Content-Type: application/json",
    // "Content-Length" and the body.
    static std::shared_ptr<QMURLRequest> requestWithURL(std::shared_ptr<QMURL> url, std::string body,
                                                        const QMURLRequest::Headers& leadingHeaders = {});

    // The same request before its body is known: method, leading headers and "Content-Type".
    // Senders that keep the request while the body is still being built use this and setBody.
    static std::shared_ptr<QMURLRequest> requestWithoutBody(
        std::shared_ptr<QMURL> url, const QMURLRequest::Headers& leadingHeaders = {},
        const std::string& contentType = CONTENT_TYPE_JSON(), const std::string& method = HTTP_METHOD_POST());

    // "Content-Length" (the body's byte count formatted "%ld", "0" without a body) and the body.
    static void setBody(QMURLRequest& request, std::optional<std::string> body);
};

}  // namespace veyrakit
