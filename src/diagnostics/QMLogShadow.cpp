#include "diagnostics/QMLogShadow.h"

bool QMLogShadow::differs(const std::optional<std::string>& shadow, const std::optional<std::string>& value) {
    return !value || shadow != value;
}

bool QMLogShadow::differs(const std::shared_ptr<QMDate>& shadow, const std::shared_ptr<QMDate>& value) {
    return !value || !shadow || shadow->timeIntervalSince1970() != value->timeIntervalSince1970();
}
