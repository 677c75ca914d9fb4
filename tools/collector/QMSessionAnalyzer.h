#pragma once
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "collector/QMCollectorRequest.h"
#include "collector/QMCollectorStore.h"
#include "collector/QMSessionAnalysis.h"
#include "collector/QMSessionView.h"

namespace veyrakit {

// Works out a session's summary and protocol check results from its stored requests.
class QMSessionAnalyzer {
  public:
    // A session with no request for `idleMillis` counts as over.
    explicit QMSessionAnalyzer(int64_t idleMillis = 60000) : idleMillis_(idleMillis) {}

    // `requests` in arrival order; `known` = the collector opened this session. With
    // `assumeFinished` the session counts as over whatever its last request's time.
    QMSessionAnalysis analyze(const std::string& sessionId, bool known,
                              std::vector<QMCollectorRequest> requests, int64_t nowMillis,
                              bool assumeFinished = false) const;
    // nullopt when no request ever named the session.
    std::optional<QMSessionAnalysis> analyze(const QMCollectorStore& store, const std::string& sessionId,
                                             int64_t nowMillis, bool assumeFinished = false) const;
    // Every session the store knows of, opened here or only named, in order of appearance.
    std::vector<QMSessionAnalysis> analyzeAll(const QMCollectorStore& store, int64_t nowMillis,
                                              bool assumeFinished = false) const;

    // What the dashboard shows of one session: the analysis (with "phase") and its timeline,
    // intervals, bitrate steps, diagnostic events and checks with their breaking requests
    // (QMSessionTimeline); nullopt when no request ever named the session.
    std::optional<nlohmann::ordered_json> dashboard(const QMCollectorStore& store,
                                                    const std::string& sessionId, int64_t nowMillis,
                                                    bool assumeFinished = false) const;

    int64_t idleMillis() const { return idleMillis_; }

  private:
    static QMSessionAnalysis analyzeView(const QMSessionView& view);

    int64_t idleMillis_;
};

}  // namespace veyrakit
