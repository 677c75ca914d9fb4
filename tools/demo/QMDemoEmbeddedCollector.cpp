#include "demo/QMDemoEmbeddedCollector.h"

#include <exception>
#include <utility>

#include "demo/QMDemoError.h"

namespace veyrakit {

QMDemoEmbeddedCollector::QMDemoEmbeddedCollector(QMCollectorPolicy policy)
    : server_(options(std::move(policy))) {}

QMCollectorServer::Options QMDemoEmbeddedCollector::options(QMCollectorPolicy policy) {
    QMCollectorServer::Options options;
    options.port = options.diagnosticEventsPort = options.sessionEventsPort = 0;
    options.databasePath = ":memory:";
    options.policy = std::move(policy);
    return options;
}

void QMDemoEmbeddedCollector::start(Observer observer) {
    server_.setObserver([observer = std::move(observer)](const QMCollectorRequestEvent& event) {
        observer(event.request.toJSON());
    });
    try {
        server_.start();
    } catch (const std::exception& error) {
        throw QMDemoError(std::string("the embedded collector cannot start: ") + error.what(),
                          QMDemoError::kFailure);
    }
}

std::string QMDemoEmbeddedCollector::baseURL() const { return server_.baseURL(); }

std::string QMDemoEmbeddedCollector::description() const {
    return "embedded collector on " + server_.baseURL() + " (diagnostics " + server_.diagnosticEventsURL() +
           ", " + server_.sessionEventsURL() + "), dashboard " + server_.dashboardURL();
}

void QMDemoEmbeddedCollector::stop() { server_.stop(); }

std::optional<nlohmann::ordered_json> QMDemoEmbeddedCollector::analysis(const std::string& sessionId) {
    auto analysis = server_.analyzeSession(sessionId, /*assumeFinished=*/true);
    if (!analysis) return std::nullopt;
    return analysis->toJSON();
}

}  // namespace veyrakit
