#include "collector/QMDashboardAssets.h"

#include <stdexcept>

namespace veyrakit {

std::optional<QMDashboardAssets::Asset> QMDashboardAssets::find(const std::string& path) {
    for (const auto& asset : all()) {
        if (asset.path == path) return asset;
    }
    return std::nullopt;
}

const QMDashboardAssets::Asset& QMDashboardAssets::page() {
    static const Asset index = [] {
        auto found = find("/dashboard/index.html");
        if (!found) throw std::logic_error("the collector was built without its dashboard page");
        return *found;
    }();
    return index;
}

std::string QMDashboardAssets::contentType(const std::string& path) {
    if (path.ends_with(".html")) return "text/html; charset=utf-8";
    if (path.ends_with(".js")) return "text/javascript; charset=utf-8";
    if (path.ends_with(".css")) return "text/css; charset=utf-8";
    return "application/octet-stream";
}

}  // namespace veyrakit
