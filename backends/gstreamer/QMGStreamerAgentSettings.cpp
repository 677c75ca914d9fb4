#include "QMGStreamerAgentSettings.h"

#include <gst/gst.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <utility>

#include "veyrakit/QMCustomMetadata.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

struct Setting {
    const char* name;
    const char* variable;
};

constexpr std::array<Setting, 8> kSettings{{{"server", "VEYRAKIT_SERVER"},
                                            {"diag-ports", "VEYRAKIT_DIAG_PORTS"},
                                            {"player", "VEYRAKIT_PLAYER"},
                                            {"customer-id", "VEYRAKIT_CUSTOMER_ID"},
                                            {"asset-id", "VEYRAKIT_ASSET_ID"},
                                            {"asset-name", "VEYRAKIT_ASSET_NAME"},
                                            {"viewer-id", "VEYRAKIT_VIEWER_ID"},
                                            {"metadata", "VEYRAKIT_METADATA"}}};

std::optional<int> portOf(const std::string& text) {
    int port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port < 1 || port > 65535)
        return std::nullopt;
    return port;
}

// The tracer's parameters as GStreamer's structure syntax reads them ("a=1,b=\"x,y\""): every
// field as text.
std::optional<std::vector<std::pair<std::string, std::string>>> fieldsOf(const std::string& parameters) {
    std::vector<std::pair<std::string, std::string>> fields;
    if (parameters.empty()) return fields;
    GstStructure* structure = gst_structure_from_string(("veyrakit," + parameters).c_str(), nullptr);
    if (!structure) return std::nullopt;
    for (int i = 0; i < gst_structure_n_fields(structure); ++i) {
        const gchar* name = gst_structure_nth_field_name(structure, static_cast<guint>(i));
        const GValue* value = gst_structure_get_value(structure, name);
        if (G_VALUE_HOLDS_STRING(value)) {
            fields.emplace_back(name, g_value_get_string(value));
        } else {
            gchar* text = gst_value_serialize(value);
            fields.emplace_back(name, text ? text : "");
            g_free(text);
        }
    }
    gst_structure_free(structure);
    return fields;
}

QMCustomMetadataArray metadataOf(const std::string& text, std::vector<std::string>& problems) {
    QMCustomMetadataArray metadata;
    std::size_t at = 0;
    while (at <= text.size()) {
        const std::size_t end = std::min(text.find(';', at), text.size());
        const std::string pair = text.substr(at, end - at);
        const std::size_t equals = pair.find('=');
        if (equals == std::string::npos || equals == 0) {
            problems.push_back("metadata: \"" + pair + "\" is not key=value");
        } else {
            metadata.push_back(std::make_shared<QMCustomMetadata>(
                pair.substr(0, equals), std::vector<std::string>{pair.substr(equals + 1)}));
        }
        at = end + 1;
    }
    return metadata;
}

}  // namespace

QMGStreamerAgentSettings QMGStreamerAgentSettings::parse(const std::string& parameters,
                                                         const Environment& environment) {
    QMGStreamerAgentSettings settings;
    std::vector<std::pair<std::string, std::string>> given;
    if (auto fields = fieldsOf(parameters)) {
        given = std::move(*fields);
    } else {
        settings.problems.push_back("the parameters \"" + parameters +
                                    "\" are not name=value pairs (quote a value with a comma in it)");
    }
    for (const auto& [name, value] : given) {
        const bool known = std::any_of(kSettings.begin(), kSettings.end(),
                                       [&name = name](const Setting& s) { return name == s.name; });
        if (!known) settings.problems.push_back(name + ": no such setting");
    }
    auto valueOf = [&](const Setting& setting) -> std::optional<std::string> {
        for (const auto& [name, value] : given) {
            if (name == setting.name) return value;
        }
        return environment(setting.variable);
    };
    for (const auto& setting : kSettings) {
        const auto value = valueOf(setting);
        const std::string name = setting.name;
        if (name == "server") {
            const auto url = value ? QMURL::URLWithString(*value) : nullptr;
            if (!value) {
                settings.problems.push_back(std::string("server: not given (the parameter or ") +
                                            setting.variable + "); nothing is monitored");
            } else if (!url || url->host().empty() || (url->scheme() != "http" && url->scheme() != "https")) {
                settings.problems.push_back("server: \"" + *value +
                                            "\" is not an http(s) URL; nothing is monitored");
            } else {
                settings.description.serverHost = *value;
            }
        } else if (!value) {
            continue;
        } else if (name == "diag-ports") {
            const std::size_t comma = value->find(',');
            const auto first = portOf(value->substr(0, comma));
            const auto second = comma == std::string::npos ? std::nullopt : portOf(value->substr(comma + 1));
            if (!first || !second) {
                settings.problems.push_back("diag-ports: \"" + *value + "\" is not two ports N,M");
            } else {
                settings.diagnosticEventsURL = std::to_string(*first);
                settings.sessionEventsURL = std::to_string(*second);
            }
        } else if (name == "player") {
            if (*value == "mpmovieplayer") {
                settings.player = QMGStreamerMonitor::PlayerKind::MPMoviePlayerController;
            } else if (*value != "avplayer") {
                settings.problems.push_back("player: \"" + *value +
                                            "\" is neither avplayer nor mpmovieplayer");
            }
        } else if (name == "customer-id") {
            settings.description.qmrCID = *value;
        } else if (name == "asset-id") {
            settings.description.assetId = *value;
        } else if (name == "asset-name") {
            settings.description.assetName = *value;
        } else if (name == "viewer-id") {
            settings.description.viewerId = *value;
        } else if (name == "metadata") {
            settings.description.assetMetadata = metadataOf(*value, settings.problems);
        }
    }
    // The diagnostic streams go to the server's host, on the ports given.
    if (settings.diagnosticEventsURL && settings.description.serverHost) {
        const auto url = QMURL::URLWithString(*settings.description.serverHost);
        const std::string host = "http://" + url->host() + ":";
        settings.diagnosticEventsURL = host + *settings.diagnosticEventsURL + "/veyrakit/";
        settings.sessionEventsURL = host + *settings.sessionEventsURL + "/sessionEventsHandler/sessions";
    } else {
        settings.diagnosticEventsURL.reset();
        settings.sessionEventsURL.reset();
    }
    return settings;
}

QMGStreamerMonitor::Options QMGStreamerAgentSettings::monitorOptions() const {
    return {.player = player, .defaults = description};
}

}  // namespace veyrakit
