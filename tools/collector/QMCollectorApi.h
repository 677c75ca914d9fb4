#pragma once
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "collector/QMCollectorStore.h"
#include "collector/QMSessionAnalyzer.h"

namespace veyrakit {

// The collector's read-only JSON API, independent of the HTTP server that serves it:
//   GET /api/sessions                   every session with its state and check outcome
//   GET /api/sessions/{sessionId}       one session: summary, checks, requests
//   GET /api/sessions/{sessionId}/timeline  what the dashboard draws of one session
//   GET /api/requests[?session=ID|none] stored requests, all, of one session, or of none
// "?final=1" on the session routes judges every session as over.
class QMCollectorApi {
  public:
    struct Response {
        int status = 200;
        nlohmann::ordered_json body;
    };

    QMCollectorApi(const QMCollectorStore& store, QMSessionAnalyzer analyzer);

    Response sessions(int64_t nowMillis, bool assumeFinished) const;
    Response session(const std::string& sessionId, int64_t nowMillis, bool assumeFinished) const;
    Response timeline(const std::string& sessionId, int64_t nowMillis, bool assumeFinished) const;
    // `session` "none" selects the requests that named no session.
    // A session's requests after the one numbered `afterId` (0: from the first).
    Response requests(const std::optional<std::string>& session, int64_t afterId = 0) const;

  private:
    const QMCollectorStore& store_;
    QMSessionAnalyzer analyzer_;
};

}  // namespace veyrakit
