#include "collector/QMCollectorRequestEvent.h"

#include <cstdio>

#include "collector/QMConsoleText.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

std::string sessionClock(const std::optional<int64_t>& millis) {
    if (!millis) return "-";
    char text[32];
    std::snprintf(text, sizeof text, "+%lld.%03llds", static_cast<long long>(*millis / 1000),
                  static_cast<long long>(*millis % 1000));
    return text;
}

std::string valueText(const Json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::optional<int64_t> integerOf(const Json& body, const char* key) {
    auto it = body.find(key);
    if (it == body.end() || !it->is_number_integer()) return std::nullopt;
    return it->get<int64_t>();
}

}  // namespace

QMCollectorRequestEvent QMCollectorRequestEvent::from(QMCollectorRequest request,
                                                      std::optional<int64_t> sessionStartMillis) {
    QMCollectorRequestEvent event;
    if (sessionStartMillis) event.sessionTimeMillis = request.receivedMillis - *sessionStartMillis;
    auto body = request.bodyJSON();
    if (request.endpoint == QMCollectorEndpoint::Report && body && body->is_object()) {
        if (body->contains("type") && (*body)["type"].is_string()) event.reportType = (*body)["type"];
        event.pulseNumber = integerOf(*body, "pulseNumber");
        event.periodicalNumber = integerOf(*body, "periodicalNumber");
        for (const auto& [key, value] : body->items()) {
            if (key != "type" && key != "sessionId" && key != "pulseNumber" && key != "periodicalNumber") {
                event.values[key] = value;
            }
        }
    } else if (body && body->is_object()) {
        event.values = *body;
    }
    event.request = std::move(request);
    return event;
}

std::string QMCollectorRequestEvent::label() const {
    switch (request.endpoint) {
        case QMCollectorEndpoint::Init:
            return "init";
        case QMCollectorEndpoint::Report:
            return reportType.value_or("report");
        case QMCollectorEndpoint::DiagnosticEvents:
        case QMCollectorEndpoint::SessionEvents:
            return "diag";
        case QMCollectorEndpoint::Other:
            break;
    }
    return request.method + " " + request.path;
}

std::string QMCollectorRequestEvent::details() const {
    std::string text;
    if (request.endpoint == QMCollectorEndpoint::Other) return text;
    if (request.endpoint == QMCollectorEndpoint::DiagnosticEvents ||
        request.endpoint == QMCollectorEndpoint::SessionEvents) {
        size_t count = values.contains("events") && values["events"].is_array() ? values["events"].size() : 0;
        return " " + request.path + " " + std::to_string(count) + " events";
    }
    if (request.endpoint == QMCollectorEndpoint::Init) {
        for (const char* key : {"assetId", "assetName", "streamType"}) {
            if (values.contains(key)) text += std::string(" ") + key + "=" + valueText(values[key]);
        }
        return text;
    }
    if (reportType == "L" && values.contains("logArray") && values["logArray"].is_array()) {
        return " " + std::to_string(values["logArray"].size()) + " log lines";
    }
    if (periodicalNumber) text += " #" + std::to_string(*periodicalNumber);
    if (pulseNumber) text += " pulse " + std::to_string(*pulseNumber);
    for (const auto& [key, value] : values.items()) text += " " + key + "=" + valueText(value);
    return text;
}

std::string QMCollectorRequestEvent::describe() const {
    std::string line = sessionClock(sessionTimeMillis) + " " + label() + details() + " -> " +
                       std::to_string(request.answerStatus);
    if (!request.answerBody.empty() && request.answerBody != "{}") line += " " + request.answerBody;
    return veyrakit::QMConsoleText::escaped(line);
}

}  // namespace veyrakit
