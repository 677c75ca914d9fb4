// The REST loader's answer (status, then the body in two chunks, as QMFuzzTransport hands them
// over), handed to the complete callback as the on-demand reports' callers receive it.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz/QMFuzzTransport.h"
#include "logging/QMLogger.h"
#include "reporting/QMRestLoader.h"
#include "veyrakit/platform/QMURL.h"

using namespace veyrakit;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto& transport = QMFuzzTransport::installed();
    // Without a session the logger holds its lines back for the next one: one run's only.
    QMLogger::setLogsBeforeSessionInitiated({});
    int answers = 0;
    QMRestLoader::initWithContentType(QMRestLoader::CONTENT_TYPE_JSON(),
                                      QMURL::URLWithString("http://collector.invalid/player/report"),
                                      QMRestLoader::HTTP_METHOD_POST())
        ->loadWithData(
            QMJSON::object(), [&answers](const std::optional<QMJSON>&) { ++answers; }, [](int32_t) {});
    transport.answer(data, size);
    // Whatever the answer, the complete callback runs exactly once.
    if (answers != 1) {
        __builtin_trap();
    }
    return 0;
}
