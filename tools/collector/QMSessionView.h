#pragma once
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "collector/QMCollectorRequest.h"

namespace veyrakit {

// The requests of one session, sorted out for the summary and the protocol checks: the session
// start request, the reports (with parsed bodies, retransmissions marked), the diagnostic posts,
// and where the session stands.
class QMSessionView {
  public:
    // Ended: a movie player session that stopped reporting. Its end of playback sends nothing on
    // the wire, so over without an error or a server's end it has ended, not been abandoned.
    enum class State { Active, Completed, Error, EndedByServer, Abandoned, Ended };
    // The plugin a session came from, told by its periodical reports: a movie player plugin sends
    // "playing" as a boolean and never "alive"; an AVPlayer plugin sends "alive" or a numeric
    // "playing". Unknown without periodical reports.
    enum class Plugin { Unknown, AVPlayer, MPMoviePlayerController };

    struct Report {
        const QMCollectorRequest* request = nullptr;
        std::optional<nlohmann::ordered_json> body;  // set when the body is a JSON object
        std::optional<std::string> type;             // the body's "type" when it is a string
        // The same body already arrived in this session: a transport retry, not a new report.
        bool retransmission = false;
    };

    // A post of either diagnostic stream.
    struct DiagnosticPost {
        const QMCollectorRequest* request = nullptr;
        std::optional<nlohmann::ordered_json> body;  // set when the body is a JSON object
        // The body's "events" records, those that are objects; empty when there are none.
        std::vector<nlohmann::ordered_json> events() const;
        // The body's "session" description; null when there is none.
        nlohmann::ordered_json session() const;
    };

    // `requests` in arrival order; a session counts as over after `idleMillis` without a request,
    // or at once with `assumeFinished`.
    QMSessionView(std::string sessionId, bool known, std::vector<QMCollectorRequest> requests,
                  int64_t nowMillis, int64_t idleMillis, bool assumeFinished);
    QMSessionView(const QMSessionView&) = delete;
    QMSessionView& operator=(const QMSessionView&) = delete;

    const std::string& sessionId() const { return sessionId_; }
    bool known() const { return known_; }
    const std::vector<QMCollectorRequest>& requests() const { return requests_; }
    const QMCollectorRequest* initRequest() const { return initRequest_; }
    // Every report request, retransmissions included, in arrival order.
    const std::vector<Report>& reports() const { return reports_; }
    // The reports of one type without retransmissions, in arrival order.
    std::vector<const Report*> reportsOfType(const std::string& type) const;
    // The periodical reports without retransmissions, by "periodicalNumber" (then arrival).
    std::vector<const Report*> periodicalReports() const;
    std::vector<const QMCollectorRequest*> diagnosticPosts() const;
    // The AVPlayer reporter's posts (session events) and the movie player handler's (diagnostic
    // events), each in arrival order.
    const std::vector<DiagnosticPost>& sessionEventPosts() const { return sessionEventPosts_; }
    const std::vector<DiagnosticPost>& diagnosticEventPosts() const { return diagnosticEventPosts_; }

    Plugin plugin() const { return plugin_; }
    // "iOS-AVPlayer", "iOS-MPMoviePlayerController"; empty when unknown.
    static const std::string& pluginName(Plugin plugin);

    State state() const { return state_; }
    bool finished() const { return state_ != State::Active; }
    static const std::string& stateName(State state);
    // The state in three words for people watching sessions: "running" (active), "ended" (played
    // to its end: completed, or a movie player session over without an error) or "destroyed"
    // (torn down before its end: a playback error, the server ending it, abandoned).
    static const std::string& phaseName(State state);

    // A number from a report value: an integer, or a string of decimal digits as the stateful
    // metrics send them; nullopt for anything else.
    static std::optional<int64_t> numberOf(const nlohmann::ordered_json& value);

  private:
    void sortRequests();
    Plugin computePlugin() const;
    State computeState(int64_t nowMillis, int64_t idleMillis, bool assumeFinished) const;
    bool serverEndedSession() const;

    std::string sessionId_;
    bool known_;
    std::vector<QMCollectorRequest> requests_;
    const QMCollectorRequest* initRequest_ = nullptr;
    std::vector<Report> reports_;
    std::vector<DiagnosticPost> sessionEventPosts_;
    std::vector<DiagnosticPost> diagnosticEventPosts_;
    Plugin plugin_ = Plugin::Unknown;
    State state_ = State::Active;
};

}  // namespace veyrakit
