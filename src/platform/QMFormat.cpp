#include "platform/QMFormat.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace veyrakit {

namespace {

const char* kindName(QMFormatArg::Kind kind) {
    switch (kind) {
        case QMFormatArg::Kind::Null:
            return "nothing";
        case QMFormatArg::Kind::String:
            return "a string";
        case QMFormatArg::Kind::Int:
            return "a signed integer";
        case QMFormatArg::Kind::UInt:
            return "an unsigned integer";
        case QMFormatArg::Kind::Double:
            return "a floating-point number";
        case QMFormatArg::Kind::Bool:
            return "a boolean";
        case QMFormatArg::Kind::Object:
            return "an object";
        case QMFormatArg::Kind::Json:
            return "a JSON value";
    }
    return "an unknown value";
}

[[noreturn]] void mismatch(char conversion, QMFormatArg::Kind kind) {
    throw QMInvalidArgumentException(std::string("Format conversion %") + conversion + " cannot print " +
                                     kindName(kind));
}

// One parsed conversion directive: %[flags][width][.precision][length]conversion.
struct Directive {
    std::string flags;
    int width = -1;      // -1: none
    int precision = -1;  // -1: none
    std::string length;  // "", "hh", "h", "l", "ll", "q", "L", "z", "t", "j"
    char conversion = 0;
};

class Formatter {
  public:
    Formatter(const std::string& format, const std::vector<QMFormatArg>& args)
        : format_(format), args_(args) {}

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
            Directive directive = parseDirective(i);
            appendConversion(out, directive);
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
            throw QMInvalidArgumentException(std::string("Format \"") + format_ +
                                             "\" lacks an argument for %" + conversion);
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

    Directive parseDirective(std::size_t& i) {
        Directive directive;
        while (i < format_.size() && std::string_view("-+ #0'").find(format_[i]) != std::string_view::npos) {
            directive.flags += format_[i++];
        }
        if (i < format_.size() && (format_[i] == '*' || (format_[i] >= '1' && format_[i] <= '9'))) {
            directive.width = parseNumber(i);
            if (directive.width < 0) {  // a negative '*' width means left-justified, as in printf
                directive.flags += '-';
                directive.width = -directive.width;
            }
        }
        if (i < format_.size() && format_[i] == '.') {
            ++i;
            directive.precision = std::max(parseNumber(i), 0);
        }
        for (const char* length : {"hh", "ll", "h", "l", "q", "L", "z", "t", "j"}) {
            if (format_.compare(i, std::char_traits<char>::length(length), length) == 0) {
                directive.length = length;
                i += directive.length.size();
                break;
            }
        }
        if (i >= format_.size()) {
            throw QMInvalidArgumentException("Format \"" + format_ + "\" ends inside a conversion");
        }
        directive.conversion = format_[i++];
        return directive;
    }

    void appendConversion(std::string& out, const Directive& directive) {
        switch (directive.conversion) {
            case '%':
                out += '%';
                break;
            case '@':
                appendPadded(out, directive, nextArg('@').objectDescription());
                break;
            case 's':
                appendString(out, directive, nextArg('s'));
                break;
            case 'd':
            case 'i':
            case 'u':
            case 'x':
            case 'X':
            case 'o':
            case 'c':
                appendInteger(out, directive, nextArg(directive.conversion).asInteger(directive.conversion));
                break;
            case 'f':
            case 'F':
            case 'e':
            case 'E':
            case 'g':
            case 'G':
            case 'a':
            case 'A':
                appendPrintf(out, directive, "",
                             nextArg(directive.conversion).asDouble(directive.conversion));
                break;
            default:
                throw QMInvalidArgumentException(std::string("Format \"") + format_ +
                                                 "\" uses the unsupported conversion %" +
                                                 directive.conversion);
        }
    }

    static void appendPadded(std::string& out, const Directive& directive, const std::string& text) {
        const std::size_t width = directive.width > 0 ? static_cast<std::size_t>(directive.width) : 0;
        const std::size_t padding = text.size() < width ? width - text.size() : 0;
        const bool left = directive.flags.find('-') != std::string::npos;
        if (!left) {
            out.append(padding, ' ');
        }
        out += text;
        if (left) {
            out.append(padding, ' ');
        }
    }

    static void appendString(std::string& out, const Directive& directive, const QMFormatArg& arg) {
        if (arg.kind() != QMFormatArg::Kind::String && arg.kind() != QMFormatArg::Kind::Null) {
            mismatch('s', arg.kind());
        }
        std::string text = arg.kind() == QMFormatArg::Kind::Null ? "(null)" : arg.objectDescription();
        if (directive.precision >= 0 && static_cast<std::size_t>(directive.precision) < text.size()) {
            text.resize(static_cast<std::size_t>(directive.precision));
        }
        appendPadded(out, directive, text);
    }

    // The argument is cut to the size the length modifier names, as printf reads it.
    static void appendInteger(std::string& out, const Directive& directive, int64_t value) {
        const bool isSigned = directive.conversion == 'd' || directive.conversion == 'i';
        const std::string& length = directive.length;
        if (directive.conversion == 'c') {
            appendPrintf(out, directive, "", static_cast<int>(static_cast<unsigned char>(value)));
        } else if (length == "hh") {
            appendPrintf(out, directive, "hh",
                         isSigned ? static_cast<int>(static_cast<signed char>(value))
                                  : static_cast<int>(static_cast<unsigned char>(value)));
        } else if (length == "h") {
            appendPrintf(out, directive, "h",
                         isSigned ? static_cast<int>(static_cast<short>(value))
                                  : static_cast<int>(static_cast<unsigned short>(value)));
        } else if (length.empty()) {
            if (isSigned) {
                appendPrintf(out, directive, "", static_cast<int>(value));
            } else {
                appendPrintf(out, directive, "", static_cast<unsigned>(value));
            }
        } else if (isSigned) {
            appendPrintf(out, directive, "ll", static_cast<long long>(value));
        } else {
            appendPrintf(out, directive, "ll", static_cast<unsigned long long>(value));
        }
    }

    template <typename T>
    static void appendPrintf(std::string& out, const Directive& directive, const char* length, T value) {
        std::string pattern;
        pattern.reserve(24);
        pattern += '%';
        pattern += directive.flags;
        if (directive.width >= 0) {
            pattern += std::to_string(directive.width);
        }
        if (directive.precision >= 0) {
            pattern += '.';
            pattern += std::to_string(directive.precision);
        }
        pattern += length;
        pattern += directive.conversion;
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
        case Kind::Null:
            return "(null)";
        case Kind::Int:
            return std::to_string(i_);
        case Kind::UInt:
            return std::to_string(u_);
        case Kind::Bool:
            return i_ ? "1" : "0";
        case Kind::Double:
            return QMDescription(QMJSON(d_));
        case Kind::String:
        case Kind::Object:
        case Kind::Json:
            return s_;
    }
    return s_;
}

int64_t QMFormatArg::asInteger(char conversion) const {
    switch (kind_) {
        case Kind::Int:
        case Kind::Bool:
            return i_;
        case Kind::UInt:
            return static_cast<int64_t>(u_);
        default:
            mismatch(conversion, kind_);
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

}  // namespace veyrakit
