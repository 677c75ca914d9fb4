#pragma once
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace veyrakit {

// The dashboard's page, script and style sheet, compiled into the collector from
// tools/collector/dashboard/ so that it serves them from wherever it runs, with no network.
class QMDashboardAssets {
  public:
    struct Asset {
        std::string path;  // "/dashboard/dashboard.js"
        std::string_view bytes;
    };

    static const std::vector<Asset>& all();
    // The asset served at `path`; nullopt for any other path.
    static std::optional<Asset> find(const std::string& path);
    // The page every dashboard view starts from; its script picks the view by the address.
    static const Asset& page();
    // By the file name's extension: HTML, JavaScript, CSS (UTF-8), else bytes.
    static std::string contentType(const std::string& path);
};

}  // namespace veyrakit
