#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/QMException.h"
#include "platform/QMJSON.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// One argument of QMFormat. Holds what a conversion may print; a conversion applied to an
// argument of the wrong kind throws QMInvalidArgumentException (a programming error that the
// tests catch), as does a missing or surplus argument.
class VEYRAKIT_EXPORT QMFormatArg {
  public:
    enum class Kind { Null, String, Int, UInt, Double, Bool, Object, Json };

    QMFormatArg(std::nullptr_t) : kind_(Kind::Null) {}
    QMFormatArg(const char* s) : kind_(s ? Kind::String : Kind::Null), s_(s ? s : "") {}
    QMFormatArg(const std::string& s) : kind_(Kind::String), s_(s) {}
    QMFormatArg(const std::optional<std::string>& s)
        : kind_(s ? Kind::String : Kind::Null), s_(s.value_or("")) {}
    QMFormatArg(bool b) : kind_(Kind::Bool), i_(b ? 1 : 0) {}
    template <
        typename T,
        std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool> && std::is_signed_v<T>, int> = 0>
    QMFormatArg(T v) : kind_(Kind::Int), i_(static_cast<int64_t>(v)) {}
    template <
        typename T,
        std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool> && std::is_unsigned_v<T>, int> = 0>
    QMFormatArg(T v) : kind_(Kind::UInt), u_(static_cast<uint64_t>(v)) {}
    QMFormatArg(double d) : kind_(Kind::Double), d_(d) {}
    QMFormatArg(float f) : kind_(Kind::Double), d_(f) {}
    QMFormatArg(const QMJSON& j) : kind_(Kind::Json), s_(QMDescription(j)) {}
    QMFormatArg(const QMException& e) : kind_(Kind::String), s_(e.reason()) {}
    template <typename T, std::enable_if_t<std::is_base_of_v<QMObject, T>, int> = 0>
    QMFormatArg(const std::shared_ptr<T>& o)
        : kind_(o ? Kind::Object : Kind::Null), s_(o ? o->description() : "") {}
    template <typename T, std::enable_if_t<std::is_base_of_v<QMObject, T>, int> = 0>
    QMFormatArg(const T* o) : kind_(o ? Kind::Object : Kind::Null), s_(o ? o->description() : "") {}

    Kind kind() const { return kind_; }
    // The `%@` text: strings as themselves, numbers as decimal text, booleans 1/0,
    // nothing as "(null)".
    std::string objectDescription() const;
    int64_t asInteger(char conversion) const;  // throws unless Int/UInt/Bool
    double asDouble(char conversion) const;    // throws unless Double

  private:
    Kind kind_;
    std::string s_;
    int64_t i_ = 0;
    uint64_t u_ = 0;
    double d_ = 0;
};

// printf-style formatting that takes the system's format strings verbatim: %@ %d %i %u %ld %li
// %lu %lld %lli %llu %f %.Nf %g %s %x %% (flags and widths as printf).
VEYRAKIT_EXPORT std::string QMFormatV(const std::string& format, const std::vector<QMFormatArg>& args);

template <typename... Args>
std::string QMFormat(const std::string& format, const Args&... args) {
    return QMFormatV(format, std::vector<QMFormatArg>{QMFormatArg(args)...});
}

}  // namespace veyrakit
