#pragma once
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace veyrakit {

// Which door of the collector a request came through.
enum class QMCollectorEndpoint { Init, Report, DiagnosticEvents, SessionEvents, Other };

// One HTTP request exactly as the collector received it, with the answer it gave.
class QMCollectorRequest {
  public:
    using Headers = std::vector<std::pair<std::string, std::string>>;

    int64_t id = 0;              // assigned by the store, increasing in arrival order
    int64_t receivedMillis = 0;  // wall clock, ms since 1970
    QMCollectorEndpoint endpoint = QMCollectorEndpoint::Other;
    std::string method;
    std::string path;
    Headers headers;
    std::string body;
    std::optional<std::string> sessionId;  // the session the request belongs to, when it names one
    int answerStatus = 0;
    std::string answerBody;

    // Case-insensitive, first match; nullopt when the header was not sent.
    std::optional<std::string> header(const std::string& name) const;
    // The body as JSON; nullopt when it is empty, not JSON or past the bounds of QMBoundedJSON.
    std::optional<nlohmann::ordered_json> bodyJSON() const;
    // The body as a JSON object with a "sessionId" string: the session a report claims.
    std::optional<std::string> claimedSessionId() const;
    // Everything, for the API: the body as JSON when it parses, else as text.
    nlohmann::ordered_json toJSON() const;

    static const std::string& endpointName(QMCollectorEndpoint endpoint);
    static std::optional<QMCollectorEndpoint> endpointNamed(const std::string& name);
};

}  // namespace veyrakit
