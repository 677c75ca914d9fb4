#pragma once
#include <vector>

#include "collector/QMProtocolCheck.h"
#include "collector/QMSessionView.h"

namespace veyrakit {

// The rules the two diagnostic streams are held to, three per stream; a stream the session sent
// nothing on leaves its checks not applicable. A violation names the post that broke the rule.
class QMDiagnosticChecks {
  public:
    static std::vector<QMProtocolCheck> all(const QMSessionView& view);

    // POST, JSON, the pretty-printed layout, {"session", "events"} with the AVPlayer reporter's
    // session description and event records.
    static QMProtocolCheck sessionEventsWellFormed(const QMSessionView& view);
    // Per temporary session id: "init" has index 1, indexes run on across posts without gaps or
    // repeats, and timestamps never go back.
    static QMProtocolCheck sessionEventsSequence(const QMSessionView& view);
    // Event names and their info keys and value types as the reporter records them.
    static QMProtocolCheck sessionEventsNames(const QMSessionView& view);
    // POST, JSON, the compact layout, the movie player handler's session description and records.
    static QMProtocolCheck diagnosticEventsWellFormed(const QMSessionView& view);
    // Indexes run on by one within an attachment (index 1 starts one); timestamps never go back.
    static QMProtocolCheck diagnosticEventsSequence(const QMSessionView& view);
    // Every event text is one the handler records: a fixed text exactly, a formatted one by form.
    static QMProtocolCheck diagnosticEventsTexts(const QMSessionView& view);
};

}  // namespace veyrakit
