#include "collector/QMCollectorSequence.h"

#include <algorithm>

namespace veyrakit {

QMCollectorSequence::QMCollectorSequence(std::vector<nlohmann::ordered_json> values)
    : values_(std::move(values)) {}

QMCollectorSequence QMCollectorSequence::fromJSON(const nlohmann::ordered_json& value) {
    if (value.is_array()) return QMCollectorSequence(value.get<std::vector<nlohmann::ordered_json>>());
    return QMCollectorSequence(std::vector<nlohmann::ordered_json>{value});
}

const nlohmann::ordered_json& QMCollectorSequence::absentMarker() {
    static const nlohmann::ordered_json marker = {{"absent", true}};
    return marker;
}

std::optional<nlohmann::ordered_json> QMCollectorSequence::valueAt(size_t index) const {
    if (values_.empty()) return std::nullopt;
    const auto& value = values_[std::min(index, values_.size() - 1)];
    if (value == absentMarker()) return std::nullopt;
    return value;
}

nlohmann::ordered_json QMCollectorSequence::toJSON() const {
    if (values_.size() == 1) return values_.front();
    return nlohmann::ordered_json(values_);
}

}  // namespace veyrakit
