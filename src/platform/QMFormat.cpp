#include "platform/QMFormat.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace {

const char* kindName(QMFormatArg::Kind kind) {
    switch (kind) {
        case QMFormatArg::Kind::Null: return "nothing";
        case QMFormatArg::Kind::String: return "a string";
        case QMFormatArg::Kind::Int: return "a signed integer";
        case QMFormatArg::Kind::UInt: return "an unsigned integer";
        case QMFormatArg::Kind::Double: return "a floating-point number";
        case QMFormatArg::Kind::Bool: return "a boolean";
        case QMFormatArg::Kind::Object: return "an object";
        case QMFormatArg::Kind::Json: return "a JSON value";
    }
    return "an unknown value";
}

[[noreturn]] void mismatch(char conversion, QMFormatArg::Kind kind) {
    throw QMInvalidArgumentException(std::string("Format conversion %") + conversion + " cannot print " +
                                     kindName(kind));
}

// One parsed conversion specification: %[flags][width][.precision][length]conversion.
struct Spec {
    std::string flags;
    int width = -1;  // -1: none
    int precision = -1;  // -1: none
    std::string length;  // "", "hh", "h", "l", "ll", "q", "L", "z", "t", "j"
    char conversion = 0;
};

class Formatter {
public:
    Formatter(const std::string& format, const std::vector<QMFormatArg>& args) : format_(format), args_(args) {}

    std::string run() {
        std::string out;
        out.reserve(format_.size() + 16 * args_.size());
        std::size_t i = 0;
        while (i < format_.size()) {
            const std::size_t percent = format_.find('%', i);
            out.append(format_, i, percent == std::string::npos ? std::string::npos : percent - i);
            if (percent == std::string::npos) {
                break;
            }
            i = percent + 1;
            Spec spec = parseSpec(i);
            appendConversion(out, spec);
        }
        if (next_ != args_.size()) {
            throw QMInvalidArgumentException("Format \"" + format_ + "\" has " + std::to_string(next_) +
                                             " conversions but was given " + std::to_string(args_.size()) +
                                             " arguments");
        }
        return out;
    }

private:
    const QMFormatArg& nextArg(char conversion) {
        if (next_ >= args_.size()) {
            throw QMInvalidArgumentException(std::string("Format \"") + format_ + "\" lacks an argument for %" +
                                             conversion);
        }
        return args_[next_++];
    }

    int parseNumber(std::size_t& i) {
        if (i < format_.size() && format_[i] == '*') {
            ++i;
            return static_cast<int>(nextArg('*').asInteger('*'));
        }
        int value = 0;
        while (i < format_.size() && format_[i] >= '0' && format_[i] <= '9') {
            value = value * 10 + (format_[i++] - '0');
        }
        return value;
    }

    Spec parseSpec(std::size_t& i) {
        Spec spec;
        while (i < format_.size() && std::string_view("-+ #0'").find(format_[i]) != std::string_view::npos) {
            spec.flags += format_[i++];
        }
        if (i < format_.size() && (format_[i] == '*' || (format_[i] >= '1' && format_[i] <= '9'))) {
            spec.width = parseNumber(i);
            if (spec.width < 0) {  // a negative '*' width means left-justified, as in printf
                spec.flags += '-';
                spec.width = -spec.width;
            }
        }
        if (i < format_.size() && format_[i] == '.') {
            ++i;
            spec.precision = std::max(parseNumber(i), 0);
        }
        for (const char* length : {"hh", "ll", "h", "l", "q", "L", "z", "t", "j"}) {
            if (format_.compare(i, std::char_traits<char>::length(length), length) == 0) {
                spec.length = length;
                i += spec.length.size();
                break;
            }
        }
        if (i >= format_.size()) {
            throw QMInvalidArgumentException("Format \"" + format_ + "\" ends inside a conversion");
        }
        spec.conversion = format_[i++];
        return spec;
    }

    void appendConversion(std::string& out, const Spec& spec) {
        switch (spec.conversion) {
            case '%':
                out += '%';
                break;
            case '@':
                appendPadded(out, spec, nextArg('@').objectDescription());
                break;
            case 's':
                appendString(out, spec, nextArg('s'));
                break;
            case 'd': case 'i': case 'u': case 'x': case 'X': case 'o': case 'c':
                appendInteger(out, spec, nextArg(spec.conversion).asInteger(spec.conversion));
                break;
            case 'f': case 'F': case 'e': case 'E': case 'g': case 'G': case 'a': case 'A':
                appendPrintf(out, spec, "", nextArg(spec.conversion).asDouble(spec.conversion));
                break;
            default:
                throw QMInvalidArgumentException(std::string("Format \"") + format_ + "\" uses the unsupported conversion %" +
                                                 spec.conversion);
        }
    }

    static void appendPadded(std::string& out, const Spec& spec, const std::string& text) {
        const std::size_t width = spec.width > 0 ? static_cast<std::size_t>(spec.width) : 0;
        const std::size_t padding = text.size() < width ? width - text.size() : 0;
        const bool left = spec.flags.find('-') != std::string::npos;
        if (!left) {
            out.append(padding, ' ');
        }
        out += text;
        if (left) {
            out.append(padding, ' ');
        }
    }

    static void appendString(std::string& out, const Spec& spec, const QMFormatArg& arg) {
        if (arg.kind() != QMFormatArg::Kind::String && arg.kind() != QMFormatArg::Kind::Null) {
            mismatch('s', arg.kind());
        }
        std::string text = arg.kind() == QMFormatArg::Kind::Null ? "(null)" : arg.objectDescription();
        if (spec.precision >= 0 && static_cast<std::size_t>(spec.precision) < text.size()) {
            text.resize(static_cast<std::size_t>(spec.precision));
        }
        appendPadded(out, spec, text);
    }

    // The argument is cut to the size the length modifier names, as printf reads it.
    static void appendInteger(std::string& out, const Spec& spec, int64_t value) {
        const bool isSigned = spec.conversion == 'd' || spec.conversion == 'i';
        const std::string& length = spec.length;
        if (spec.conversion == 'c') {
            appendPrintf(out, spec, "", static_cast<int>(static_cast<unsigned char>(value)));
        } else if (length == "hh") {
            appendPrintf(out, spec, "hh", isSigned ? static_cast<int>(static_cast<signed char>(value))
                                                   : static_cast<int>(static_cast<unsigned char>(value)));
        } else if (length == "h") {
            appendPrintf(out, spec, "h", isSigned ? static_cast<int>(static_cast<short>(value))
                                                  : static_cast<int>(static_cast<unsigned short>(value)));
        } else if (length.empty()) {
            if (isSigned) {
                appendPrintf(out, spec, "", static_cast<int>(value));
            } else {
                appendPrintf(out, spec, "", static_cast<unsigned>(value));
            }
        } else if (isSigned) {
            appendPrintf(out, spec, "ll", static_cast<long long>(value));
        } else {
            appendPrintf(out, spec, "ll", static_cast<unsigned long long>(value));
        }
    }

    template <typename T>
    static void appendPrintf(std::string& out, const Spec& spec, const char* length, T value) {
        std::string pattern;
        pattern.reserve(24);
        pattern += '%';
        pattern += spec.flags;
        if (spec.width >= 0) {
            pattern += std::to_string(spec.width);
        }
        if (spec.precision >= 0) {
            pattern += '.';
            pattern += std::to_string(spec.precision);
        }
        pattern += length;
        pattern += spec.conversion;
        char small[64];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        const int needed = std::snprintf(small, sizeof small, pattern.c_str(), value);
        if (needed < 0) {
            throw QMInvalidArgumentException("Format conversion " + pattern + " failed");
        }
        if (static_cast<std::size_t>(needed) < sizeof small) {
            out.append(small, static_cast<std::size_t>(needed));
            return;
        }
        std::string large(static_cast<std::size_t>(needed) + 1, '\0');
        std::snprintf(large.data(), large.size(), pattern.c_str(), value);
#pragma GCC diagnostic pop
        large.resize(static_cast<std::size_t>(needed));
        out += large;
    }

    const std::string& format_;
    const std::vector<QMFormatArg>& args_;
    std::size_t next_ = 0;
};

}  // namespace

std::string QMFormatArg::objectDescription() const {
    switch (kind_) {
        case Kind::Null: return "(null)";
        case Kind::Int: return std::to_string(i_);
        case Kind::UInt: return std::to_string(u_);
        case Kind::Bool: return i_ ? "1" : "0";
        case Kind::Double: return QMDescription(QMJSON(d_));
        case Kind::String:
        case Kind::Object:
        case Kind::Json: return s_;
    }
    return s_;
}

int64_t QMFormatArg::asInteger(char conversion) const {
    switch (kind_) {
        case Kind::Int:
        case Kind::Bool: return i_;
        case Kind::UInt: return static_cast<int64_t>(u_);
        default: mismatch(conversion, kind_);
    }
}

double QMFormatArg::asDouble(char conversion) const {
    if (kind_ != Kind::Double) {
        mismatch(conversion, kind_);
    }
    return d_;
}

std::string QMFormatV(const std::string& format, const std::vector<QMFormatArg>& args) {
    return Formatter(format, args).run();
}
