#include "collector/QMConsoleText.h"

#include <cstdio>

namespace veyrakit {

namespace {

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The length of the well-formed UTF-8 sequence at `at` (RFC 3629: no overlong forms, no
// surrogates, nothing past U+10FFFF); 0 when there is none.
size_t sequenceLength(const std::string& text, size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) return 1;
    size_t length = 0;
    unsigned char low = 0x80;  // the range of the second byte
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    }
    if (length == 0 || at + length > text.size()) return 0;
    const auto second = static_cast<unsigned char>(text[at + 1]);
    if (second < low || second > high) return 0;
    for (size_t i = 2; i < length; ++i) {
        if (!isContinuation(static_cast<unsigned char>(text[at + i]))) return 0;
    }
    return length;
}

std::string escape(const char* format, unsigned value) {
    char text[8];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

}  // namespace

std::string QMConsoleText::escaped(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const size_t length = sequenceLength(text, at);
        if (length == 0 || byte < 0x20 || byte == 0x7F) {
            out += escape("\\x%02x", byte);
            ++at;
        } else if (length == 2 && byte == 0xC2 && static_cast<unsigned char>(text[at + 1]) < 0xA0) {
            out += escape("\\u%04x", static_cast<unsigned char>(text[at + 1]));  // C1: U+0080..U+009F
            at += 2;
        } else {
            out.append(text, at, length);
            at += length;
        }
    }
    return out;
}

}  // namespace veyrakit
