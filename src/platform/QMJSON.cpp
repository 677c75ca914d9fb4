#include "platform/QMJSON.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace veyrakit {

namespace {

// Integral doubles print as integers (2.0 -> "2"), others in their shortest round-trip form.
// Non-finite values have no JSON form; they are written as null rather than failing the report.
void appendNumber(std::string& out, double d, bool nonFiniteAsNull) {
    if (!std::isfinite(d) && nonFiniteAsNull) {
        out += "null";
        return;
    }
    if (std::isfinite(d) && d == std::trunc(d) && std::fabs(d) < 9.2e18) {
        out += std::to_string(static_cast<long long>(d));
        return;
    }
    char buffer[64];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, d);
    out.append(buffer, result.ptr);
}

void appendScalar(std::string& out, const QMJSON& value) {
    switch (value.type()) {
        case QMJSON::value_t::number_integer:
            out += std::to_string(value.get<int64_t>());
            break;
        case QMJSON::value_t::number_unsigned:
            out += std::to_string(value.get<uint64_t>());
            break;
        case QMJSON::value_t::number_float:
            appendNumber(out, value.get<double>(), true);
            break;
        case QMJSON::value_t::boolean:
            out += value.get<bool>() ? "true" : "false";
            break;
        default:
            out += "null";
            break;
    }
}

void appendQuoted(std::string& out, const std::string& s) {
    out += '"';
    for (unsigned char c : s) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            default:
                if (c < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                    out += escaped;
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
    out += '"';
}

// indentStep 0 writes the compact form; otherwise each level is indented by indentStep spaces
// and keys are followed by " : ".
void appendJSON(std::string& out, const QMJSON& value, int indentStep, int depth) {
    const bool pretty = indentStep > 0;
    auto newline = [&](int level) {
        if (pretty) {
            out += '\n';
            out.append(static_cast<std::size_t>(level) * static_cast<std::size_t>(indentStep), ' ');
        }
    };
    if (value.is_string()) {
        appendQuoted(out, value.get_ref<const std::string&>());
    } else if (value.is_object()) {
        out += '{';
        bool first = true;
        for (const auto& [key, member] : value.items()) {
            out += first ? "" : ",";
            first = false;
            newline(depth + 1);
            appendQuoted(out, key);
            out += pretty ? " : " : ":";
            appendJSON(out, member, indentStep, depth + 1);
        }
        if (!first) {
            newline(depth);
        }
        out += '}';
    } else if (value.is_array()) {
        out += '[';
        bool first = true;
        for (const auto& element : value) {
            out += first ? "" : ",";
            first = false;
            newline(depth + 1);
            appendJSON(out, element, indentStep, depth + 1);
        }
        if (!first) {
            newline(depth);
        }
        out += ']';
    } else {
        appendScalar(out, value);
    }
}

// Inside a collection's description a string stands bare only when it is a plain word.
bool needsQuotes(const std::string& s) {
    if (s.empty()) {
        return true;
    }
    for (unsigned char c : s) {
        if (!(std::isalnum(c) || c == '_')) {
            return true;
        }
    }
    return false;
}

void appendDescribedString(std::string& out, const std::string& s, bool inCollection) {
    if (!inCollection || !needsQuotes(s)) {
        out += s;
        return;
    }
    out += '"';
    for (char c : s) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                out += c;
        }
    }
    out += '"';
}

void appendIndent(std::string& out, int level) { out.append(static_cast<std::size_t>(level) * 4, ' '); }

// A nested collection opens with its own level's indentation, right after the indentation (or
// "key = ") its parent already wrote: the platform's characteristic "key =     (" layout.
void appendDescription(std::string& out, const QMJSON& value, int level) {
    const bool inCollection = level > 0;
    switch (value.type()) {
        case QMJSON::value_t::string:
            appendDescribedString(out, value.get_ref<const std::string&>(), inCollection);
            break;
        case QMJSON::value_t::null:
            out += inCollection ? "\"<null>\"" : "<null>";
            break;
        case QMJSON::value_t::boolean:
            out += value.get<bool>() ? "1" : "0";
            break;
        case QMJSON::value_t::number_float:
            appendNumber(out, value.get<double>(), false);
            break;
        case QMJSON::value_t::array: {
            appendIndent(out, level);
            out += '(';
            std::size_t remaining = value.size();
            for (const auto& element : value) {
                out += '\n';
                appendIndent(out, level + 1);
                appendDescription(out, element, level + 1);
                out += --remaining ? "," : "";
            }
            out += '\n';
            appendIndent(out, level);
            out += ')';
            break;
        }
        case QMJSON::value_t::object:
            appendIndent(out, level);
            out += '{';
            for (const auto& [key, member] : value.items()) {
                out += '\n';
                appendIndent(out, level + 1);
                appendDescribedString(out, key, true);
                out += " = ";
                appendDescription(out, member, level + 1);
                out += ';';
            }
            out += '\n';
            appendIndent(out, level);
            out += '}';
            break;
        default:
            appendScalar(out, value);
            break;
    }
}

}  // namespace

std::string QMJSONSerialization::dataWithJSONObject(const QMJSON& object) {
    std::string out;
    appendJSON(out, object, 0, 0);
    return out;
}

std::string QMJSONSerialization::prettyDataWithJSONObject(const QMJSON& object) {
    std::string out;
    appendJSON(out, object, 2, 0);
    return out;
}

void QMJSONSerialization::appendPrettyData(std::string& out, const QMJSON& value, int nestingLevel) {
    appendJSON(out, value, 2, nestingLevel);
}

std::optional<QMJSON> QMJSONSerialization::JSONObjectWithData(const std::string& data) {
    QMJSON parsed = QMJSON::parse(data, nullptr, false);
    // As on the platform without fragments allowed, only an object or an array is a document.
    if (parsed.is_discarded() || !(parsed.is_object() || parsed.is_array())) {
        return std::nullopt;
    }
    return parsed;
}

std::string QMDescription(const QMJSON& value) {
    std::string out;
    appendDescription(out, value, 0);
    return out;
}

int32_t QMJSONIntValue(const QMJSON& value) {
    if (value.is_boolean()) {
        return value.get<bool>() ? 1 : 0;
    }
    if (value.is_number()) {
        const double d = value.get<double>();
        if (std::isnan(d)) {
            return 0;
        }
        if (value.is_number_unsigned()) {
            return static_cast<int32_t>(
                std::min<unsigned long long>(value.get<unsigned long long>(), INT32_MAX));
        }
        if (value.is_number_integer()) {
            return static_cast<int32_t>(std::clamp<long long>(value.get<long long>(), INT32_MIN, INT32_MAX));
        }
        return static_cast<int32_t>(std::clamp<double>(std::trunc(d), INT32_MIN, INT32_MAX));
    }
    if (!value.is_string()) {
        return 0;
    }
    const std::string& s = value.get_ref<const std::string&>();
    std::size_t i = 0;
    while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) {
        ++i;
    }
    bool negative = false;
    if (i < s.size() && (s[i] == '-' || s[i] == '+')) {
        negative = s[i] == '-';
        ++i;
    }
    long long v = 0;
    for (; i < s.size() && std::isdigit(static_cast<unsigned char>(s[i])); ++i) {
        v = std::min<long long>(v * 10 + (s[i] - '0'), static_cast<long long>(INT32_MAX) + 1);
    }
    return static_cast<int32_t>(std::clamp<long long>(negative ? -v : v, INT32_MIN, INT32_MAX));
}

}  // namespace veyrakit
