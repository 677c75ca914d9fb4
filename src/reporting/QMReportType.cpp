#include "reporting/QMReportType.h"

namespace veyrakit {

#define QM_REPORT_TYPE(name, value)                \
    const std::string& QMReportType::name() {      \
        static const std::string constant = value; \
        return constant;                           \
    }

QM_REPORT_TYPE(SESSION_START, "S")
QM_REPORT_TYPE(PERIODICAL, "P")
QM_REPORT_TYPE(PLAYBACK_ERROR, "E")
QM_REPORT_TYPE(PLAYBACK_DURATION, "D")
QM_REPORT_TYPE(JOIN_TIME, "J")
QM_REPORT_TYPE(FAULT_REPORT, "F")
QM_REPORT_TYPE(LOG_REPORT, "L")
QM_REPORT_TYPE(AVAILABLE_BITRATES, "B")

#undef QM_REPORT_TYPE

}  // namespace veyrakit
