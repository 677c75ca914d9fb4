// The collector's policy file: a policy or QMCollectorPolicy::Error, and every field's value for
// the first few requests.
#include <cstddef>
#include <cstdint>
#include <string>

#include "collector/QMCollectorPolicy.h"

using namespace veyrakit;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto document = nlohmann::ordered_json::parse(
        reinterpret_cast<const char*>(data), reinterpret_cast<const char*>(data) + size, nullptr, false);
    if (document.is_discarded()) {
        return 0;
    }
    try {
        const auto policy = QMCollectorPolicy::fromJSON(document);
        for (const auto& field : QMCollectorPolicy::fieldNames()) {
            for (std::size_t index = 0; index < 3; ++index) {
                if (auto value = policy.valueAt(field, index)) {
                    (void)QMCollectorPolicy::integerValue(*value);
                }
            }
        }
        (void)policy.toJSON().dump();
    } catch (const QMCollectorPolicy::Error&) {
    }
    return 0;
}
