#include "collector/QMCollectorRequest.h"

#include <strings.h>

#include <array>

#include "collector/QMBoundedJSON.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

const std::array<std::string, 5>& endpointNames() {
    static const std::array<std::string, 5> names{"init", "report", "diagnosticEvents", "sessionEvents",
                                                  "other"};
    return names;
}

Json parsedOrText(const std::string& text) {
    auto parsed = veyrakit::QMBoundedJSON::parse(text);
    return parsed ? std::move(*parsed) : Json(text);
}

}  // namespace

std::optional<std::string> QMCollectorRequest::header(const std::string& name) const {
    for (const auto& [key, value] : headers) {
        if (strcasecmp(key.c_str(), name.c_str()) == 0) return value;
    }
    return std::nullopt;
}

std::optional<nlohmann::ordered_json> QMCollectorRequest::bodyJSON() const {
    return veyrakit::QMBoundedJSON::parse(body);
}

std::optional<std::string> QMCollectorRequest::claimedSessionId() const {
    auto json = bodyJSON();
    if (!json || !json->is_object()) return std::nullopt;
    auto it = json->find("sessionId");
    if (it == json->end() || !it->is_string()) return std::nullopt;
    return it->get<std::string>();
}

nlohmann::ordered_json QMCollectorRequest::toJSON() const {
    Json headerPairs = Json::array();
    for (const auto& [key, value] : headers) headerPairs.push_back(Json::array({key, value}));
    return Json{{"id", id},
                {"receivedAt", receivedMillis},
                {"endpoint", endpointName(endpoint)},
                {"method", method},
                {"path", path},
                {"headers", headerPairs},
                {"sessionId", sessionId ? Json(*sessionId) : Json()},
                {"body", parsedOrText(body)},
                {"answer", {{"status", answerStatus}, {"body", parsedOrText(answerBody)}}}};
}

const std::string& QMCollectorRequest::endpointName(QMCollectorEndpoint endpoint) {
    return endpointNames().at(static_cast<size_t>(endpoint));
}

std::optional<QMCollectorEndpoint> QMCollectorRequest::endpointNamed(const std::string& name) {
    const auto& names = endpointNames();
    for (size_t i = 0; i < names.size(); ++i) {
        if (names[i] == name) return static_cast<QMCollectorEndpoint>(i);
    }
    return std::nullopt;
}

}  // namespace veyrakit
