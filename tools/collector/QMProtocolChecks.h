#pragma once
#include <vector>

#include "collector/QMProtocolCheck.h"
#include "collector/QMSessionView.h"

namespace veyrakit {

// The protocol rules the collector holds every session to, one check each.
class QMProtocolChecks {
  public:
    static std::vector<QMProtocolCheck> all(const QMSessionView& view);

    // Headers, User-Agent, Content-Length equal to the body, keys and value types.
    static QMProtocolCheck initWellFormed(const QMSessionView& view);
    // Every report names a session this collector opened.
    static QMProtocolCheck knownSession(const QMSessionView& view);
    // POST, JSON headers, Content-Length, a JSON object with a known "type" and a "sessionId".
    static QMProtocolCheck reportsWellFormed(const QMSessionView& view);
    // Strings for the stateful metrics' values, numbers in the one-shot bodies, no stray keys; in a
    // movie player session a boolean "playing" and neither "alive" nor "bufferingTimeLeadingToNow".
    static QMProtocolCheck valueTypes(const QMSessionView& view);
    // The pulse numbers of all non-log reports run 1, 2, 3 ... without gaps or repeats.
    static QMProtocolCheck pulseNumbers(const QMSessionView& view);
    // Periodical numbers run 1, 2, 3 ..., their pulse numbers rising with them.
    static QMProtocolCheck periodicalNumbers(const QMSessionView& view);
    static QMProtocolCheck joinTimeOnce(const QMSessionView& view);
    static QMProtocolCheck durationOnce(const QMSessionView& view);
    // The last report carries "playbackCompleted"; nothing but log reports follows it. A movie
    // player session instead ends at its player's finish without a report: none carries
    // "playbackCompleted", and nothing but log reports follows a playback error.
    static QMProtocolCheck completion(const QMSessionView& view);
};

}  // namespace veyrakit
