// The scenario file: it parses into a scenario or raises QMScenarioException, nothing else.
#include <cstddef>
#include <cstdint>
#include <string>

#include "simulator/QMScenarioException.h"
#include "simulator/QMScenarioParser.h"

using namespace veyrakit;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        (void)QMScenarioParser::parse(text, "fuzz.scenario");
    } catch (const QMScenarioException&) {
    }
    return 0;
}
