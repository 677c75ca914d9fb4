#include "collector/QMCollectorServer.h"

#include <httplib.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "collector/QMBoundedJSON.h"
#include "collector/QMCollectorApi.h"
#include "collector/QMCollectorHTTPServer.h"
#include "collector/QMCollectorResponder.h"
#include "collector/QMDashboardAssets.h"
#include "collector/QMDiagnosticAttribution.h"
#include "collector/QMSessionAnalyzer.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

const char* const kDiagnosticEventsPath = "/veyrakit/";
const char* const kSessionEventsPath = "/sessionEventsHandler/sessions";

// httplib files the peer's and our own address among the headers; the client never sent them.
bool isPseudoHeader(const std::string& name) {
    return name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" || name == "LOCAL_PORT";
}

QMCollectorRequest capture(const httplib::Request& req, QMCollectorEndpoint endpoint) {
    QMCollectorRequest request;
    request.receivedMillis = QMCollectorServer::currentTimeMillis();
    request.endpoint = endpoint;
    request.method = req.method;
    request.path = req.path;
    for (const auto& [name, value] : req.headers) {
        if (!isPseudoHeader(name)) request.headers.emplace_back(name, value);
    }
    request.body = req.body;
    return request;
}

std::optional<std::string> reportType(const QMCollectorRequest& request) {
    auto body = request.bodyJSON();
    if (!body || !body->is_object() || !body->contains("type") || !(*body)["type"].is_string())
        return std::nullopt;
    return (*body)["type"].get<std::string>();
}

// A session's API route by the address as sent, so that an id with "/" (sent as "%2F") is one
// segment: "/api/sessions/ID" or "/api/sessions/ID/timeline". The id decoded as httplib decodes
// paths (a malformed "%" stays as it is).
struct SessionRoute {
    std::string sessionId;
    bool timeline = false;
};

std::optional<SessionRoute> sessionRoute(const std::string& target) {
    const std::string prefix = "/api/sessions/";
    std::string rest = target.substr(0, target.find('?'));
    if (!rest.starts_with(prefix)) return std::nullopt;
    rest.erase(0, prefix.size());
    SessionRoute route;
    const std::string suffix = "/timeline";
    if (rest.ends_with(suffix)) {
        rest.resize(rest.size() - suffix.size());
        route.timeline = true;
    }
    if (rest.empty() || rest.find('/') != std::string::npos) return std::nullopt;
    route.sessionId = httplib::detail::decode_url(rest, false);
    return route;
}

void sendJSON(httplib::Response& res, int status, const Json& body) {
    res.status = status;
    // What clients sent is served back as it was stored; bytes that are not UTF-8 (in a header
    // or a body that is not JSON) become U+FFFD rather than failing the whole answer.
    res.set_content(body.dump(-1, ' ', false, Json::error_handler_t::replace), "application/json");
}

}  // namespace

struct QMCollectorServer::Impl {
    explicit Impl(Options opts)
        : options(std::move(opts)),
          store(options.databasePath),
          responder(options.policy),
          analyzer(options.policy.sessionIdleMillis()) {
        for (auto& server : servers)
            server = std::make_unique<veyrakit::QMCollectorHTTPServer>(options.limits, options.host);
    }

    void configureMain();
    void configureDiagnostics(httplib::Server& server, const std::string& path, QMCollectorEndpoint endpoint);
    void configureCommon(httplib::Server& server);
    static void configureDashboard(httplib::Server& server);
    void handle(const httplib::Request& req, httplib::Response& res, QMCollectorEndpoint endpoint);
    QMCollectorResponder::Answer answerFor(QMCollectorRequest& request);
    void notify(const QMCollectorRequest& request);
    void bindAll();
    void bindOne(veyrakit::QMCollectorHTTPServer& server, int requested, int& bound);
    void stopAll();

    Options options;
    QMCollectorStore store;
    QMCollectorResponder responder;
    QMSessionAnalyzer analyzer;
    std::array<std::unique_ptr<veyrakit::QMCollectorHTTPServer>, 3> servers;
    std::array<int, 3> ports{0, 0, 0};
    std::vector<std::thread> threads;
    bool started = false;
    std::mutex observerMutex;
    Observer observer;
};

void QMCollectorServer::Impl::configureMain() {
    auto& server = *servers[0];
    server.Post("/player/init",
                [this](const auto& req, auto& res) { handle(req, res, QMCollectorEndpoint::Init); });
    server.Post("/player/report",
                [this](const auto& req, auto& res) { handle(req, res, QMCollectorEndpoint::Report); });
    QMCollectorApi api(store, analyzer);
    server.Get("/api/sessions", [api](const httplib::Request& req, httplib::Response& res) {
        auto answer = api.sessions(currentTimeMillis(), req.get_param_value("final") == "1");
        sendJSON(res, answer.status, answer.body);
    });
    server.Get(R"(/api/sessions/.+)", [this, api](const httplib::Request& req, httplib::Response& res) {
        auto route = sessionRoute(req.target);
        if (!route) return handle(req, res, QMCollectorEndpoint::Other);
        bool assumeFinished = req.get_param_value("final") == "1";
        auto answer = route->timeline ? api.timeline(route->sessionId, currentTimeMillis(), assumeFinished)
                                      : api.session(route->sessionId, currentTimeMillis(), assumeFinished);
        sendJSON(res, answer.status, answer.body);
    });
    server.Get("/api/requests", [api](const httplib::Request& req, httplib::Response& res) {
        auto session =
            req.has_param("session") ? std::optional(req.get_param_value("session")) : std::nullopt;
        // A follower asks only for what it has not seen: "after" is the last request number it has.
        const int64_t after = std::atoll(req.get_param_value("after").c_str());
        auto answer = api.requests(session, after);
        sendJSON(res, answer.status, answer.body);
    });
    configureDashboard(server);
    configureCommon(server);
}

// The dashboard's page and files; its views are addresses of the one page ("/", "/sessions/ID").
// Registered before the catch-all, so looking at the dashboard stores nothing.
void QMCollectorServer::Impl::configureDashboard(httplib::Server& server) {
    auto page = [](const httplib::Request&, httplib::Response& res) {
        const auto& asset = QMDashboardAssets::page();
        res.set_content(std::string(asset.bytes), QMDashboardAssets::contentType(asset.path));
    };
    server.Get("/", page);
    server.Get(R"(/sessions/.+)", page);
    server.Get(R"(/dashboard/[^/]+)", [](const httplib::Request& req, httplib::Response& res) {
        auto asset = QMDashboardAssets::find(req.path);
        if (!asset) return sendJSON(res, 404, Json{{"error", "no such dashboard file"}});
        res.set_content(std::string(asset->bytes), QMDashboardAssets::contentType(asset->path));
    });
}

void QMCollectorServer::Impl::configureDiagnostics(httplib::Server& server, const std::string& path,
                                                   QMCollectorEndpoint endpoint) {
    server.Post(path, [this, endpoint](const auto& req, auto& res) { handle(req, res, endpoint); });
    configureCommon(server);
}

// What every port shares: socket options, a catch-all that keeps whatever else arrives (answered
// 404), and errors answered as JSON.
void QMCollectorServer::Impl::configureCommon(httplib::Server& server) {
    // Without SO_REUSEPORT (httplib's default sets it) a second collector on a busy port fails to
    // bind instead of silently sharing the port.
    server.set_socket_options([](socket_t sock) {
        int yes = 1;
        setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    // Answers go out as separate header and body writes; without this, Nagle holds the body
    // back until the client's delayed acknowledgement (about 40 ms a request).
    server.set_tcp_nodelay(true);
    auto other = [this](const httplib::Request& req, httplib::Response& res) {
        handle(req, res, QMCollectorEndpoint::Other);
    };
    server.Get(".*", other).Post(".*", other).Put(".*", other).Patch(".*", other).Delete(".*", other);
    server.set_exception_handler(
        [](const httplib::Request&, httplib::Response& res, std::exception_ptr error) {
            std::string message = "internal error";
            try {
                std::rethrow_exception(std::move(error));
            } catch (const std::exception& e) {
                message = e.what();
            } catch (...) {
            }
            sendJSON(res, 500, Json{{"error", message}});
        });
}

void QMCollectorServer::Impl::handle(const httplib::Request& req, httplib::Response& res,
                                     QMCollectorEndpoint endpoint) {
    // Past a bound the body is not JSON to the collector (QMBoundedJSON): refused, not stored.
    auto problem = veyrakit::QMBoundedJSON::problem(veyrakit::QMBoundedJSON::scan(req.body));
    if (!problem.empty()) return veyrakit::QMCollectorHTTPServer::refuse(res, 413, problem);
    QMCollectorRequest request = capture(req, endpoint);
    auto answer = answerFor(request);
    request.answerStatus = answer.status;
    request.answerBody = answer.body;
    store.record(request, answer.issuedSessionId);
    res.status = answer.status;
    res.set_content(answer.body, "application/json");
    notify(request);
}

QMCollectorResponder::Answer QMCollectorServer::Impl::answerFor(QMCollectorRequest& request) {
    switch (request.endpoint) {
        case QMCollectorEndpoint::Init: {
            auto answer = responder.answerInit();
            request.sessionId = answer.issuedSessionId;
            return answer;
        }
        case QMCollectorEndpoint::Report:
            request.sessionId = request.claimedSessionId();
            return responder.answerReport(request.sessionId, reportType(request));
        case QMCollectorEndpoint::DiagnosticEvents:
        case QMCollectorEndpoint::SessionEvents:
            request.sessionId = QMDiagnosticAttribution::sessionOf(request, store);
            return QMCollectorResponder::answerDiagnostic();
        case QMCollectorEndpoint::Other:
            break;
    }
    return QMCollectorResponder::Answer{404, Json{{"error", "no such endpoint"}}.dump(), std::nullopt};
}

void QMCollectorServer::Impl::notify(const QMCollectorRequest& request) {
    std::lock_guard lock(observerMutex);
    if (!observer) return;
    std::optional<int64_t> sessionStart;
    if (request.sessionId) {
        if (auto session = store.session(*request.sessionId)) sessionStart = session->createdMillis;
    }
    try {
        observer(QMCollectorRequestEvent::from(request, sessionStart));
    } catch (...) {
        // The observer's trouble must not cost the client its answer.
    }
}

void QMCollectorServer::Impl::bindAll() {
    bindOne(*servers[0], options.port, ports[0]);
    bindOne(*servers[1], options.diagnosticEventsPort, ports[1]);
    bindOne(*servers[2], options.sessionEventsPort, ports[2]);
}

void QMCollectorServer::Impl::bindOne(veyrakit::QMCollectorHTTPServer& server, int requested, int& bound) {
    if (requested == 0) {
        bound = server.bind_to_any_port(options.host);
    } else if (server.bind_to_port(options.host, requested)) {
        bound = requested;
    }
    if (bound <= 0) {
        bound = 0;
        throw std::runtime_error("cannot listen on " + options.host + ":" + std::to_string(requested));
    }
    server.widenBacklog();
    threads.emplace_back([&server] { server.listen_after_bind(); });
    // stop() only reaches a server whose accept loop runs, so wait for it to run.
    for (int waited = 0; !server.is_running(); ++waited) {
        if (waited == 5000)
            throw std::runtime_error("the server on port " + std::to_string(bound) + " did not start");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void QMCollectorServer::Impl::stopAll() {
    for (auto& server : servers) server->stop();
    for (auto& thread : threads) thread.join();
    threads.clear();
}

QMCollectorServer::QMCollectorServer(Options options) : impl_(std::make_unique<Impl>(std::move(options))) {
    impl_->configureMain();
    impl_->configureDiagnostics(*impl_->servers[1], kDiagnosticEventsPath,
                                QMCollectorEndpoint::DiagnosticEvents);
    impl_->configureDiagnostics(*impl_->servers[2], kSessionEventsPath, QMCollectorEndpoint::SessionEvents);
}

QMCollectorServer::~QMCollectorServer() { stop(); }

void QMCollectorServer::setObserver(Observer observer) {
    std::lock_guard lock(impl_->observerMutex);
    impl_->observer = std::move(observer);
}

void QMCollectorServer::start() {
    if (impl_->started) throw std::logic_error("a collector server starts only once");
    impl_->started = true;
    try {
        impl_->bindAll();
    } catch (...) {
        impl_->stopAll();
        throw;
    }
}

void QMCollectorServer::stop() { impl_->stopAll(); }

bool QMCollectorServer::isRunning() const { return !impl_->threads.empty(); }

int QMCollectorServer::port() const { return impl_->ports[0]; }
int QMCollectorServer::diagnosticEventsPort() const { return impl_->ports[1]; }
int QMCollectorServer::sessionEventsPort() const { return impl_->ports[2]; }

std::string QMCollectorServer::baseURL() const {
    return "http://" + impl_->options.host + ":" + std::to_string(port());
}

std::string QMCollectorServer::dashboardURL() const { return baseURL() + "/"; }

std::string QMCollectorServer::diagnosticEventsURL() const {
    return "http://" + impl_->options.host + ":" + std::to_string(diagnosticEventsPort()) +
           kDiagnosticEventsPath;
}

std::string QMCollectorServer::sessionEventsURL() const {
    return "http://" + impl_->options.host + ":" + std::to_string(sessionEventsPort()) + kSessionEventsPath;
}

const QMCollectorStore& QMCollectorServer::store() const { return impl_->store; }
const QMCollectorPolicy& QMCollectorServer::policy() const { return impl_->options.policy; }

std::vector<QMSessionAnalysis> QMCollectorServer::analyzeSessions(bool assumeFinished) const {
    return impl_->analyzer.analyzeAll(impl_->store, currentTimeMillis(), assumeFinished);
}

std::optional<QMSessionAnalysis> QMCollectorServer::analyzeSession(const std::string& sessionId,
                                                                   bool assumeFinished) const {
    return impl_->analyzer.analyze(impl_->store, sessionId, currentTimeMillis(), assumeFinished);
}

int64_t QMCollectorServer::currentTimeMillis() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace veyrakit
