#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "collector/QMCollectorLimits.h"
#include "collector/QMCollectorPolicy.h"
#include "collector/QMCollectorRequestEvent.h"
#include "collector/QMCollectorStore.h"
#include "collector/QMSessionAnalysis.h"

namespace veyrakit {

// The reference collector: three HTTP servers on their own threads.
//   main port:     POST /player/init, POST /player/report, GET /api/..., the dashboard at GET /
//   diagnostics:   POST /veyrakit/ (player diagnostic events)
//   session events: POST /sessionEventsHandler/sessions
// Every request, on any path, is stored with its answer before the answer goes out, but for those
// refused at the door: past a limit (QMCollectorLimits, QMBoundedJSON) or by the Host and Origin
// checks (QMRequestGate). Embeddable: start() returns once all three listen; stop() (or the
// destructor) ends them.
class QMCollectorServer {
  public:
    struct Options {
        std::string host = "127.0.0.1";
        int port = 8080;                                     // 0 = any free port
        int diagnosticEventsPort = 8081;                     // 0 = any free port
        int sessionEventsPort = 8082;                        // 0 = any free port
        std::string databasePath = "veyrakit-collector.db";  // ":memory:" for no file
        QMCollectorPolicy policy;
        veyrakit::QMCollectorLimits limits;
    };
    // Called once per stored request, on a server thread; calls never overlap.
    using Observer = std::function<void(const QMCollectorRequestEvent&)>;

    // Opens the database; throws QMCollectorStore::Error.
    explicit QMCollectorServer(Options options);
    ~QMCollectorServer();
    QMCollectorServer(const QMCollectorServer&) = delete;
    QMCollectorServer& operator=(const QMCollectorServer&) = delete;

    void setObserver(Observer observer);
    // Binds all three ports and starts serving; throws std::runtime_error naming the port that
    // could not be bound (nothing is left listening then). Once per server.
    void start();
    void stop();
    bool isRunning() const;

    // The bound ports (the chosen ones when 0 was asked for); 0 before start().
    int port() const;
    int diagnosticEventsPort() const;
    int sessionEventsPort() const;
    // "http://127.0.0.1:<port>", the base for /player/init and /player/report.
    std::string baseURL() const;
    std::string dashboardURL() const;         // ".../", the web dashboard on the main port
    std::string diagnosticEventsURL() const;  // ".../veyrakit/"
    std::string sessionEventsURL() const;     // ".../sessionEventsHandler/sessions"

    const QMCollectorStore& store() const;
    const QMCollectorPolicy& policy() const;
    std::vector<QMSessionAnalysis> analyzeSessions(bool assumeFinished = false) const;
    std::optional<QMSessionAnalysis> analyzeSession(const std::string& sessionId,
                                                    bool assumeFinished = false) const;

    static int64_t currentTimeMillis();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace veyrakit
