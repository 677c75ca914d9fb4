#include "QMGStreamerMasterPlaylist.h"

#include <cstdlib>
#include <memory>
#include <sstream>

#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

// The value of `name` in an attribute list (`NAME=value,OTHER="quoted, value"`), unquoted.
std::optional<std::string> attribute(const std::string& list, const std::string& name) {
    std::size_t at = 0;
    while (at < list.size()) {
        const std::size_t equals = list.find('=', at);
        if (equals == std::string::npos) break;
        const std::string key = list.substr(at, equals - at);
        std::size_t end = equals + 1;
        std::string value;
        if (end < list.size() && list[end] == '"') {
            const std::size_t close = list.find('"', end + 1);
            value = list.substr(end + 1, (close == std::string::npos ? list.size() : close) - end - 1);
            end = close == std::string::npos ? list.size() : close + 1;
        } else {
            const std::size_t comma = list.find(',', end);
            value = list.substr(end, (comma == std::string::npos ? list.size() : comma) - end);
            end = comma == std::string::npos ? list.size() : comma;
        }
        if (key == name) return value;
        at = list.find(',', end);
        at = at == std::string::npos ? list.size() : at + 1;
    }
    return std::nullopt;
}

// `reference` resolved against the playlist's own URL; as written when there is none.
std::string resolved(const std::string& reference, const std::shared_ptr<QMURL>& base) {
    const auto url = base ? QMURL::URLWithString(reference, *base) : nullptr;
    return url ? url->absoluteString() : reference;
}

std::string trimmed(std::string line) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t'))
        line.pop_back();
    const std::size_t start = line.find_first_not_of(" \t");
    return start == std::string::npos ? std::string() : line.substr(start);
}

}  // namespace

QMGStreamerMasterPlaylist QMGStreamerMasterPlaylist::parse(const std::string& text, const std::string& uri) {
    static const std::string kStreamInf = "#EXT-X-STREAM-INF:";
    QMGStreamerMasterPlaylist playlist;
    std::istringstream lines(text);
    std::string line;
    std::optional<Variant> pending;
    const auto base = uri.empty() ? nullptr : QMURL::URLWithString(uri);
    while (std::getline(lines, line)) {
        line = trimmed(line);
        if (line.rfind(kStreamInf, 0) == 0) {
            const std::string attributes = line.substr(kStreamInf.size());
            Variant variant;
            const auto average = attribute(attributes, "AVERAGE-BANDWIDTH");
            const auto bandwidth = attribute(attributes, "BANDWIDTH");
            if (average || bandwidth)
                variant.bitrate = std::strtod((average ? *average : *bandwidth).c_str(), nullptr);
            if (const auto resolution = attribute(attributes, "RESOLUTION")) {
                variant.width = std::atoi(resolution->c_str());
                const std::size_t x = resolution->find_first_of("xX");
                variant.height = x == std::string::npos ? 0 : std::atoi(resolution->c_str() + x + 1);
            }
            pending = variant;
        } else if (pending && !line.empty() && line[0] != '#') {
            pending->uri = resolved(line, base);
            playlist.variants_.push_back(*pending);
            pending.reset();
        }
    }
    return playlist;
}

std::optional<QMGStreamerMasterPlaylist::Variant> QMGStreamerMasterPlaylist::variantNamed(
    const std::string& uri) const {
    for (const auto& variant : variants_) {
        // Relative to the master playlist: the announced absolute URI ends with it, at a path step.
        if (uri == variant.uri || (uri.size() > variant.uri.size() && uri.ends_with(variant.uri) &&
                                   uri[uri.size() - variant.uri.size() - 1] == '/'))
            return variant;
    }
    return std::nullopt;
}

std::vector<QMGStreamerMasterPlaylist::Variant> QMGStreamerMasterPlaylist::variantsSized(int width,
                                                                                         int height) const {
    std::vector<Variant> sized;
    for (const auto& variant : variants_) {
        if (variant.width == width && variant.height == height) sized.push_back(variant);
    }
    return sized;
}

}  // namespace veyrakit
