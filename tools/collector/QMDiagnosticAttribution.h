#pragma once
#include <optional>
#include <string>

#include "collector/QMCollectorRequest.h"
#include "collector/QMCollectorStore.h"

namespace veyrakit {

// The session a diagnostic post belongs to. A post that names its session (the "sessionId" of
// its "session" description) belongs to that one. The movie player handler fixes its description
// when it attaches, usually before the session id is known, so its posts name none: such a post
// of the diagnostic events stream belongs to the newest session opened so far whose start
// request has the same "assetId" and "qmrCID". nullopt when neither gives a session.
class QMDiagnosticAttribution {
  public:
    static std::optional<std::string> sessionOf(const QMCollectorRequest& post,
                                                const QMCollectorStore& store);
};

}  // namespace veyrakit
