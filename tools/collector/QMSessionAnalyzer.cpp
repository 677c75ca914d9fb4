#include "collector/QMSessionAnalyzer.h"

#include "collector/QMDiagnosticChecks.h"
#include "collector/QMProtocolChecks.h"
#include "collector/QMSessionSummary.h"
#include "collector/QMSessionTimeline.h"
#include "collector/QMSessionView.h"

namespace veyrakit {

QMSessionAnalysis QMSessionAnalyzer::analyze(const std::string& sessionId, bool known,
                                             std::vector<QMCollectorRequest> requests, int64_t nowMillis,
                                             bool assumeFinished) const {
    QMSessionView view(sessionId, known, std::move(requests), nowMillis, idleMillis_, assumeFinished);
    return analyzeView(view);
}

QMSessionAnalysis QMSessionAnalyzer::analyzeView(const QMSessionView& view) {
    QMSessionAnalysis analysis;
    analysis.sessionId = view.sessionId();
    analysis.known = view.known();
    analysis.state = QMSessionView::stateName(view.state());
    analysis.phase = QMSessionView::phaseName(view.state());
    analysis.summary = QMSessionSummary::build(view);
    analysis.checks = QMProtocolChecks::all(view);
    for (auto& check : QMDiagnosticChecks::all(view)) analysis.checks.push_back(std::move(check));
    return analysis;
}

std::optional<nlohmann::ordered_json> QMSessionAnalyzer::dashboard(const QMCollectorStore& store,
                                                                   const std::string& sessionId,
                                                                   int64_t nowMillis,
                                                                   bool assumeFinished) const {
    auto requests = store.requestsOfSession(sessionId);
    if (requests.empty()) return std::nullopt;
    bool known = store.session(sessionId).has_value();
    QMSessionView view(sessionId, known, std::move(requests), nowMillis, idleMillis_, assumeFinished);
    auto analysis = analyzeView(view);
    nlohmann::ordered_json body = analysis.toJSON();
    body["phase"] = analysis.phase;
    body.update(QMSessionTimeline::build(view, analysis.checks));
    return body;
}

std::optional<QMSessionAnalysis> QMSessionAnalyzer::analyze(const QMCollectorStore& store,
                                                            const std::string& sessionId, int64_t nowMillis,
                                                            bool assumeFinished) const {
    auto requests = store.requestsOfSession(sessionId);
    if (requests.empty()) return std::nullopt;
    bool known = store.session(sessionId).has_value();
    return analyze(sessionId, known, std::move(requests), nowMillis, assumeFinished);
}

std::vector<QMSessionAnalysis> QMSessionAnalyzer::analyzeAll(const QMCollectorStore& store, int64_t nowMillis,
                                                             bool assumeFinished) const {
    std::vector<QMSessionAnalysis> result;
    for (const auto& sessionId : store.sessionIdsSeen()) {
        if (auto analysis = analyze(store, sessionId, nowMillis, assumeFinished))
            result.push_back(std::move(*analysis));
    }
    return result;
}

}  // namespace veyrakit
