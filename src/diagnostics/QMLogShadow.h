#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "veyrakit/platform/QMDate.h"

namespace veyrakit {

// How both diagnostic log followers tell a log entry's value from the shadow they keep of it, the
// way the diagnostic collectors count changes: a new string or date of nothing never equals
// anything (so it is always a change), numbers by plain inequality (so a NaN is always a change).
class QMLogShadow {
  public:
    QMLogShadow() = delete;

    static bool differs(const std::optional<std::string>& shadow, const std::optional<std::string>& value);
    static bool differs(const std::shared_ptr<QMDate>& shadow, const std::shared_ptr<QMDate>& value);
    static bool differs(int64_t shadow, int64_t value) { return shadow != value; }
    static bool differs(double shadow, double value) { return shadow != value; }
};

}  // namespace veyrakit
