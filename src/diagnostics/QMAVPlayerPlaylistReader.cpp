#include "diagnostics/QMAVPlayerPlaylistReader.h"

#include <cctype>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "platform/QMRegularExpression.h"

namespace veyrakit {

namespace {

// The length of the UTF-8 character at `at`, or 0 when the bytes there are not one: a stray
// continuation byte, a truncated or overlong sequence, a surrogate, or beyond U+10FFFF.
std::size_t characterLength(const std::string& text, std::size_t at) {
    const auto inRange = [&text](std::size_t i, unsigned char low, unsigned char high) {
        return i < text.size() && static_cast<unsigned char>(text[i]) >= low &&
               static_cast<unsigned char>(text[i]) <= high;
    };
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return inRange(at + 1, 0x80, 0xBF) ? 2 : 0;
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        const bool second = inRange(at + 1, lead == 0xE0 ? 0xA0 : 0x80, lead == 0xED ? 0x9F : 0xBF);
        return second && inRange(at + 2, 0x80, 0xBF) ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const bool second = inRange(at + 1, lead == 0xF0 ? 0x90 : 0x80, lead == 0xF4 ? 0x8F : 0xBF);
        return second && inRange(at + 2, 0x80, 0xBF) && inRange(at + 3, 0x80, 0xBF) ? 4 : 0;
    }
    return 0;
}

// The line breaks other than \n and \r: vertical tab, form feed, NEL, LS and PS. The patterns'
// "." does not cross them, and they do not end a value either.
bool isOtherLineBreak(const std::string& text, std::size_t at, std::size_t length) {
    switch (length) {
        case 1:
            return text[at] == '\v' || text[at] == '\f';
        case 2:
            return text.compare(at, 2, "\xC2\x85") == 0;
        case 3:
            return text.compare(at, 3, "\xE2\x80\xA8") == 0 || text.compare(at, 3, "\xE2\x80\xA9") == 0;
        default:
            return false;
    }
}

// Calls onLine(begin, end) for every stretch of the text a match can lie in, checking its UTF-8 on
// the way: a line with its \n or \r, or the text up to something no match crosses (an invalid
// sequence or another line break), each cut after its last comma or line break, since a match
// ends with one. A stretch with neither holds no match and is left out. So every attribute name
// in a stretch starts a match, and the patterns find each in one pass: a name that no terminator
// followed would otherwise send the lazy pattern to the end of the text, once per name.
template <typename OnLine>
void forEachLine(const std::string& text, OnLine onLine) {
    std::size_t begin = 0;
    std::size_t end = 0;  // just after the stretch's last comma; `begin` while there is none
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t length = characterLength(text, at);
        const char character = text[at];
        if (length == 0 || isOtherLineBreak(text, at, length)) {
            if (end > begin) {
                onLine(begin, end);
            }
            at += length == 0 ? 1 : length;
            begin = end = at;
            continue;
        }
        at += length;
        if (character == ',') {
            end = at;
        } else if (character == '\n' || character == '\r') {
            onLine(begin, at);
            begin = end = at;
        }
    }
    if (end > begin) {
        onLine(begin, end);
    }
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

std::vector<std::string> QMAVPlayerPlaylistReader::attributeValues(const std::string& text,
                                                                   const std::string& name) {
    std::vector<std::string> values;
    if (text.size() > kMaximumPlaylistLength) {
        return values;
    }
    // Each match runs from the attribute name to the character that ends the value, cut off here.
    const auto expression = QMRegularExpression::regularExpressionWithPattern(name + "=(.*?)[,\\n\\r]", 0);
    const std::string attribute = name + "=";
    forEachLine(text, [&](std::size_t begin, std::size_t end) {
        if (std::string_view(text).substr(begin, end - begin).find(attribute) == std::string_view::npos) {
            return;  // most lines of a playlist: no need to run the pattern
        }
        const std::string line = text.substr(begin, end - begin);
        for (const auto& match : expression->matchesInString(line)) {
            const QMRange range = match.range();
            values.push_back(QMSubstring(
                line, QMRange{range.location + attribute.size(), range.length - attribute.size() - 1}));
        }
    });
    return values;
}

std::vector<double> QMAVPlayerPlaylistReader::bitratesInPlaylist(const std::string& text) {
    std::vector<double> bitrates;
    for (const auto& value : attributeValues(text, "BANDWIDTH")) {
        bitrates.push_back(numberValue(value));
    }
    return bitrates;
}

std::vector<CGSize> QMAVPlayerPlaylistReader::resolutionsInPlaylist(const std::string& text) {
    std::vector<CGSize> resolutions;
    for (const auto& value : attributeValues(text, "RESOLUTION")) {
        const auto separator = value.find('x');
        if (separator != std::string::npos && value.find('x', separator + 1) == std::string::npos) {
            resolutions.push_back(CGSizeMake(numberValue(value.substr(0, separator)),
                                             numberValue(value.substr(separator + 1))));
        }
    }
    return resolutions;
}

}  // namespace veyrakit
