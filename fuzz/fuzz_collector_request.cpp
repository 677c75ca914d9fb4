// A request as the collector receives it (first line the path, the rest the body): the door's
// JSON bounds, its event line, the report schema checks, the diagnostic record checks, both JSON
// layouts, and the analysis and dashboard data of a session made of it, as the API serves them.
// Runs with a large -max_len (see the Makefile), so that deep nesting and many keys are reached.
#include <cstddef>
#include <cstdint>
#include <string>

#include "collector/QMBoundedJSON.h"
#include "collector/QMCollectorRequestEvent.h"
#include "collector/QMDiagnosticChecks.h"
#include "collector/QMDiagnosticSchema.h"
#include "collector/QMJSONLayout.h"
#include "collector/QMProtocolChecks.h"
#include "collector/QMReportSchema.h"
#include "collector/QMSessionSummary.h"
#include "collector/QMSessionTimeline.h"

using namespace veyrakit;

namespace {

QMCollectorEndpoint endpointOf(const std::string& path) {
    if (path == "/player/init") return QMCollectorEndpoint::Init;
    if (path == "/player/report") return QMCollectorEndpoint::Report;
    if (path == "/diagnostics") return QMCollectorEndpoint::DiagnosticEvents;
    if (path == "/sessions") return QMCollectorEndpoint::SessionEvents;
    return QMCollectorEndpoint::Other;
}

void checkBody(const QMCollectorRequest& request) {
    const auto body = request.bodyJSON();
    if (!body || !body->is_object()) {
        return;
    }
    // As the diagnostic checks lay out a body: only one within the JSON bounds.
    (void)QMJSONLayout::compact(request.body);
    (void)QMJSONLayout::pretty(request.body);
    (void)QMReportSchema::problemsOfInitBody(*body);
    if (auto type = body->find("type"); type != body->end() && type->is_string()) {
        (void)QMReportSchema::problemsOfReport(type->get<std::string>(), *body);
    }
    for (auto stream :
         {QMDiagnosticSchema::Stream::SessionEvents, QMDiagnosticSchema::Stream::DiagnosticEvents}) {
        (void)QMDiagnosticSchema::problemsOfEventRecord(*body, stream);
        (void)QMDiagnosticSchema::problemsOfSessionDescription(*body, stream);
    }
    (void)QMDiagnosticSchema::problemsOfSessionEvent(*body);
}

// What /api/sessions/ID and its timeline work out, for a session of this one request.
void analyze(const QMCollectorRequest& request) {
    QMSessionView view("S", true, {request}, 0, 60'000, true);
    auto checks = QMProtocolChecks::all(view);
    for (auto& check : QMDiagnosticChecks::all(view)) checks.push_back(std::move(check));
    const auto replace = nlohmann::ordered_json::error_handler_t::replace;
    (void)QMSessionSummary::build(view).dump(-1, ' ', false, replace);
    (void)QMSessionTimeline::build(view, checks).dump(-1, ' ', false, replace);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    (void)veyrakit::QMBoundedJSON::scan(input);
    const auto lineEnd = input.find('\n');
    QMCollectorRequest request;
    request.method = "POST";
    request.path = input.substr(0, lineEnd);
    request.endpoint = endpointOf(request.path);
    request.body = lineEnd == std::string::npos ? "" : input.substr(lineEnd + 1);
    request.headers = {{"User-Agent", request.body}};
    (void)QMReportSchema::problemsOfUserAgent(request.body);
    (void)QMDiagnosticSchema::recognizeText(request.body);
    (void)request.claimedSessionId();
    // As the API serves it: bytes that are not UTF-8 (path, header or body) become U+FFFD.
    (void)request.toJSON().dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    checkBody(request);
    (void)QMCollectorRequestEvent::from(request, 0).describe();
    analyze(request);
    return 0;
}
