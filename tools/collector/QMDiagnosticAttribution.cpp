#include "collector/QMDiagnosticAttribution.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

std::optional<std::string> stringAt(const Json& object, const char* key) {
    if (!object.is_object() || !object.contains(key) || !object[key].is_string()) return std::nullopt;
    return object[key].get<std::string>();
}

}  // namespace

std::optional<std::string> QMDiagnosticAttribution::sessionOf(const QMCollectorRequest& post,
                                                              const QMCollectorStore& store) {
    auto body = post.bodyJSON();
    if (!body || !body->is_object() || !body->contains("session")) return std::nullopt;
    const Json& session = (*body)["session"];
    if (auto named = stringAt(session, "sessionId")) return named;
    if (post.endpoint != QMCollectorEndpoint::DiagnosticEvents) return std::nullopt;
    auto assetId = stringAt(session, "assetId");
    auto qmrCID = stringAt(session, "qmrCID");
    if (!assetId || !qmrCID) return std::nullopt;
    return store.newestSessionOfAsset(*assetId, *qmrCID);
}

}  // namespace veyrakit
