#pragma once
#include <map>
#include <optional>
#include <string>

#include "veyrakit/QMCustomMetadata.h"

namespace veyrakit {

// The plugin's own name and the like, sent with the session's init log: {"pluginName": ...}.
using QMPluginMetadata = std::map<std::string, std::string>;

// What a host says about one monitoring session, beside the player: the asset, the viewer, the
// customer and where to report. Every field may be absent. Fields are named where the value is
// made (QMSessionDescription{.assetId = "A-1", .assetType = "VOD"}), so that two strings of the
// same type cannot trade places unnoticed, as they could in a list of positional parameters.
// Fields left out of such an initialiser are absent.
class QMSessionDescription {
  public:
    std::optional<std::string> assetId{};
    // The collector's base URL; absent: the plugin's default server host.
    std::optional<std::string> serverHost{};
    // The customer id.
    std::optional<std::string> qmrCID{};
    // "VOD" or "LIVE"; absent: "VOD".
    std::optional<std::string> assetType{};
    std::optional<std::string> assetName{};
    std::optional<std::string> viewerId{};
    std::optional<QMCustomMetadataArray> assetMetadata{};
    std::optional<QMCustomMetadataArray> viewerMetadata{};
    // Set by the facade for the plugins it makes (it names the player kind there).
    std::optional<QMPluginMetadata> pluginMetadata{};

    // The fields in the order of the facade's and the plugins' parameter lists: the one place
    // where those lists become named fields.
    static QMSessionDescription withFields(
        const std::optional<std::string>& assetId, const std::optional<std::string>& serverHost,
        const std::optional<std::string>& qmrCID, const std::optional<std::string>& assetType,
        const std::optional<std::string>& assetName, const std::optional<std::string>& viewerId,
        const std::optional<QMCustomMetadataArray>& assetMetadata,
        const std::optional<QMCustomMetadataArray>& viewerMetadata,
        const std::optional<QMPluginMetadata>& pluginMetadata = std::nullopt) {
        return {.assetId = assetId,
                .serverHost = serverHost,
                .qmrCID = qmrCID,
                .assetType = assetType,
                .assetName = assetName,
                .viewerId = viewerId,
                .assetMetadata = assetMetadata,
                .viewerMetadata = viewerMetadata,
                .pluginMetadata = pluginMetadata};
    }
};

}  // namespace veyrakit
