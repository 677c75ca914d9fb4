#include "platform/QMJSON.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

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

// A collection being written: the next member to write and the collection's own nesting level.
// The writers below keep these on a stack of their own rather than recursing, so that how deep a
// value nests costs heap, never the host's stack.
struct OpenCollection {
    const QMJSON* collection;
    QMJSON::const_iterator next;
    int level;
};

bool isCollection(const QMJSON& value) { return value.is_object() || value.is_array(); }

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
    std::vector<OpenCollection> open;
    // A scalar is written whole; a collection is opened (and closed at once when empty).
    auto begin = [&](const QMJSON& item, int level) {
        if (item.is_string()) {
            appendQuoted(out, item.get_ref<const std::string&>());
        } else if (!isCollection(item)) {
            appendScalar(out, item);
        } else if (item.empty()) {
            out += item.is_object() ? "{}" : "[]";
        } else {
            out += item.is_object() ? '{' : '[';
            open.push_back({&item, item.cbegin(), level});
        }
    };
    begin(value, depth);
    while (!open.empty()) {
        OpenCollection& top = open.back();
        if (top.next == top.collection->cend()) {
            newline(top.level);
            out += top.collection->is_object() ? '}' : ']';
            open.pop_back();
            continue;
        }
        out += top.next == top.collection->cbegin() ? "" : ",";
        newline(top.level + 1);
        if (top.collection->is_object()) {
            appendQuoted(out, top.next.key());
            out += pretty ? " : " : ":";
        }
        const QMJSON& member = *top.next;
        const int level = top.level + 1;
        ++top.next;
        begin(member, level);  // may grow the stack: `top` is not used after this
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

void appendDescribedScalar(std::string& out, const QMJSON& value, bool inCollection) {
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
        default:
            appendScalar(out, value);
            break;
    }
}

// A nested collection opens with its own level's indentation, right after the indentation (or
// "key = ") its parent already wrote: the platform's characteristic "key =     (" layout. Array
// elements are separated by ",", every object member ends with ";".
void appendDescription(std::string& out, const QMJSON& value) {
    std::vector<OpenCollection> open;
    auto begin = [&](const QMJSON& item, int level) {
        if (!isCollection(item)) {
            appendDescribedScalar(out, item, level > 0);
            return;
        }
        appendIndent(out, level);
        out += item.is_object() ? '{' : '(';
        open.push_back({&item, item.cbegin(), level});
    };
    begin(value, 0);
    while (!open.empty()) {
        OpenCollection& top = open.back();
        const bool isObject = top.collection->is_object();
        const bool done = top.next == top.collection->cend();
        if (top.next != top.collection->cbegin()) {
            out += isObject ? ";" : (done ? "" : ",");
        }
        out += '\n';
        if (done) {
            appendIndent(out, top.level);
            out += isObject ? '}' : ')';
            open.pop_back();
            continue;
        }
        appendIndent(out, top.level + 1);
        if (isObject) {
            appendDescribedString(out, top.next.key(), true);
            out += " = ";
        }
        const QMJSON& member = *top.next;
        const int level = top.level + 1;
        ++top.next;
        begin(member, level);  // may grow the stack: `top` is not used after this
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
    // The parser keeps its open collections on the heap; the callback only counts how deep they
    // nest and drops (without building) any collection beyond the bound, which then fails the
    // whole document.
    bool tooDeep = false;
    const auto depthCheck = [&tooDeep](int depth, QMJSON::parse_event_t event, QMJSON&) {
        const bool opens =
            event == QMJSON::parse_event_t::object_start || event == QMJSON::parse_event_t::array_start;
        if (opens && depth >= static_cast<int>(kMaximumNestingDepth)) {  // depth: collections around it
            tooDeep = true;
            return false;
        }
        return true;
    };
    QMJSON parsed = QMJSON::parse(data, depthCheck, false);
    // As on the platform without fragments allowed, only an object or an array is a document.
    if (tooDeep || parsed.is_discarded() || !(parsed.is_object() || parsed.is_array())) {
        return std::nullopt;
    }
    return parsed;
}

std::string QMDescription(const QMJSON& value) {
    std::string out;
    appendDescription(out, value);
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
