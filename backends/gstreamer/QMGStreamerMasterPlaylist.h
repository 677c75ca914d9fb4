#pragma once
#include <optional>
#include <string>
#include <vector>

namespace veyrakit {

// The variants an HLS master playlist offers, as the backend needs them to say which one is
// shown: each variant playlist's URI (as written, often relative), its bitrate (AVERAGE-BANDWIDTH
// where given, else BANDWIDTH: what the HLS demuxer announces) and its RESOLUTION. One pass over
// the lines; a text that is not a master playlist has no variants.
class QMGStreamerMasterPlaylist {
  public:
    struct Variant {
        std::string uri;
        double bitrate = -1.0;
        int width = 0;
        int height = 0;
    };

    // `uri`: where the playlist came from, against which relative variant URIs are resolved (empty:
    // they stay as written).
    static QMGStreamerMasterPlaylist parse(const std::string& text, const std::string& uri = {});

    const std::vector<Variant>& variants() const { return variants_; }
    // The variant whose playlist `uri` (absolute, as the demuxer announces it) names.
    std::optional<Variant> variantNamed(const std::string& uri) const;
    // The variants of that picture size.
    std::vector<Variant> variantsSized(int width, int height) const;

  private:
    std::vector<Variant> variants_;
};

}  // namespace veyrakit
