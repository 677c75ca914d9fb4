// The periodical reporter's reading of the server's answer to a report (status, then the body in
// two chunks, as QMFuzzTransport hands them over): the skip count it keeps, and a report sent
// after it, which is skipped or posted accordingly.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz/QMFuzzTransport.h"
#include "logging/QMLogger.h"
#include "reporting/QMPeriodicalReporter.h"

using namespace veyrakit;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto& transport = QMFuzzTransport::installed();
    // Without a session the logger holds its lines back for the next one: one run's only.
    QMLogger::setLogsBeforeSessionInitiated({});
    auto reporter = std::make_shared<QMPeriodicalReporter>();
    reporter->sendPeriodicalReport();
    if (!transport.answer(data, size)) {
        __builtin_trap();  // the first report is always posted
    }
    const int32_t skipped = reporter->skippedReportsCount();
    reporter->sendPeriodicalReport();
    const bool posted = transport.answer(data, 0);
    // A report is posted exactly when the answer asked to skip none.
    if (posted != (skipped == 0)) {
        __builtin_trap();
    }
    return 0;
}
