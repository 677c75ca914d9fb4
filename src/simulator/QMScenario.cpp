#include "simulator/QMScenario.h"

namespace veyrakit {

QMScenario::QMScenario() = default;

QMScenario::~QMScenario() = default;

const QMScenarioVariant* QMScenario::variantWithBitrate(int64_t bitrate) const {
    for (const auto& variant : variants_) {
        if (variant.bitrate == bitrate) {
            return &variant;
        }
    }
    return nullptr;
}

}  // namespace veyrakit
