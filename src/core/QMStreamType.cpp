#include "core/QMStreamType.h"

#include <utility>
#include <vector>

#include "platform/QMRegularExpression.h"

namespace veyrakit {

namespace {

struct Pattern {
    std::shared_ptr<QMRegularExpression> expression;
    const std::string* type;
};

const std::vector<Pattern>& patterns() {
    static const std::vector<Pattern> all = [] {
        std::vector<Pattern> made;
        for (auto [text, type] :
             {std::pair{".*\\.mp4$", &QMStreamType::PDL()}, std::pair{".*\\.m3u8$", &QMStreamType::HLS()},
              std::pair{".*\\.mpd$", &QMStreamType::MPEG_DASH()}}) {
            made.push_back(
                {QMRegularExpression::regularExpressionWithPattern(text, NSRegularExpressionCaseInsensitive),
                 type});
        }
        return made;
    }();
    return all;
}

}  // namespace

const std::string& QMStreamType::PDL() {
    static const std::string name = "PDL";
    return name;
}

const std::string& QMStreamType::HLS() {
    static const std::string name = "HLS";
    return name;
}

const std::string& QMStreamType::MPEG_DASH() {
    static const std::string name = "MPEG_DASH";
    return name;
}

const std::string& QMStreamType::UNKNOWN() {
    static const std::string name = "UNKNOWN";
    return name;
}

const std::string& QMStreamType::streamTypeForURL(const std::shared_ptr<QMURL>& url) {
    if (!url) {
        return UNKNOWN();
    }
    for (const auto& pattern : patterns()) {
        if (pattern.expression->numberOfMatchesInString(url->absoluteString()) > 0) {
            return *pattern.type;
        }
    }
    return UNKNOWN();
}

}  // namespace veyrakit
