#pragma once
#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

namespace veyrakit {

// The values one answer field takes over successive requests: the n-th request gets the n-th
// value, and the last value repeats once the list is used up. A single value is a sequence of
// one. The element {"absent": true} leaves the field out of that answer.
class QMCollectorSequence {
  public:
    QMCollectorSequence() = default;
    explicit QMCollectorSequence(std::vector<nlohmann::ordered_json> values);

    // A JSON array becomes the sequence of its elements; any other value a sequence of one.
    static QMCollectorSequence fromJSON(const nlohmann::ordered_json& value);
    static const nlohmann::ordered_json& absentMarker();

    bool empty() const { return values_.empty(); }
    const std::vector<nlohmann::ordered_json>& values() const { return values_; }
    // The value for the request with this 0-based index; nullopt when the field is left out.
    std::optional<nlohmann::ordered_json> valueAt(size_t index) const;
    // The form it was given in: a single value, or an array.
    nlohmann::ordered_json toJSON() const;

  private:
    std::vector<nlohmann::ordered_json> values_;
};

}  // namespace veyrakit
