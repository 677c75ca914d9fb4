#include "diagnostics/QMLogShadow.h"

namespace veyrakit {

bool QMLogShadow::differs(const std::optional<std::string>& shadow, const std::optional<std::string>& value) {
    return !value || shadow != value;
}

bool QMLogShadow::differs(const std::shared_ptr<QMDate>& shadow, const std::shared_ptr<QMDate>& value) {
    return !value || !shadow || shadow->timeIntervalSince1970() != value->timeIntervalSince1970();
}

}  // namespace veyrakit
