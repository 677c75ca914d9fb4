#include "diagnostics/QMAVPlayerPlaylistReader.h"

#include <cctype>
#include <cstdlib>
#include <memory>

#include "platform/QMRegularExpression.h"

namespace veyrakit {

namespace {

// The values of one attribute: each match runs from the attribute name to the character that
// ends the value, which is cut off.
std::vector<std::string> attributeValues(const std::string& text, const std::string& pattern,
                                         std::size_t nameLength) {
    std::vector<std::string> values;
    const auto expression = QMRegularExpression::regularExpressionWithPattern(pattern, 0);
    for (const auto& match : expression->matchesInString(text)) {
        const QMRange range = match.range();
        values.push_back(
            QMSubstring(text, QMRange{range.location + nameLength, range.length - nameLength - 1}));
    }
    return values;
}

// A decimal number at the start of a text (after white space): 0 when there is none. Unlike
// strtod it knows no hexadecimal, infinity or NaN: a playlist attribute never holds them, and
// the collectors expect 0 for anything else.
double numberValue(const std::string& text) {
    std::size_t end = text.find_first_not_of(" \t\n\r");
    if (end == std::string::npos) {
        return 0.0;
    }
    const std::size_t start = end;
    const auto digitsFrom = [&text](std::size_t at) {
        while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at]))) {
            ++at;
        }
        return at;
    };
    if (text[end] == '+' || text[end] == '-') {
        ++end;
    }
    end = digitsFrom(end);
    if (end < text.size() && text[end] == '.') {
        end = digitsFrom(end + 1);
    }
    if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
        std::size_t exponent = end + 1;
        if (exponent < text.size() && (text[exponent] == '+' || text[exponent] == '-')) {
            ++exponent;
        }
        const std::size_t exponentEnd = digitsFrom(exponent);
        end = exponentEnd > exponent ? exponentEnd : end;
    }
    const std::string number = text.substr(start, end - start);
    return number.find_first_of("0123456789") == std::string::npos ? 0.0
                                                                   : std::strtod(number.c_str(), nullptr);
}

}  // namespace

std::vector<double> QMAVPlayerPlaylistReader::bitratesInPlaylist(const std::string& text) {
    std::vector<double> bitrates;
    for (const auto& value : attributeValues(text, "BANDWIDTH=(.*?)[,\\n\\r]", 10)) {
        bitrates.push_back(numberValue(value));
    }
    return bitrates;
}

std::vector<CGSize> QMAVPlayerPlaylistReader::resolutionsInPlaylist(const std::string& text) {
    std::vector<CGSize> resolutions;
    for (const auto& value : attributeValues(text, "RESOLUTION=(.*?)[,\\n\\r]", 11)) {
        const auto separator = value.find('x');
        if (separator != std::string::npos && value.find('x', separator + 1) == std::string::npos) {
            resolutions.push_back(CGSizeMake(numberValue(value.substr(0, separator)),
                                             numberValue(value.substr(separator + 1))));
        }
    }
    return resolutions;
}

}  // namespace veyrakit
