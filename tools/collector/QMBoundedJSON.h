#pragma once
#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace veyrakit {

// JSON from clients, turned into values only within bounds that keep every later step cheap.
// Nesting is bounded because the library's dump, copy and comparison recurse (100,000 levels
// overflow the stack); keys per object because an insertion-ordered object finds each new key by
// a linear search, so building one costs the square of its keys. Text past a bound is not JSON
// to the collector: the door refuses such a body, and one stored before is shown as text.
class QMBoundedJSON {
  public:
    static constexpr size_t kMaxDepth = 64;
    static constexpr size_t kMaxObjectKeys = 1000;

    enum class Verdict { Within, NotJSON, TooDeep, TooManyKeys };

    // One pass over the text that builds nothing, stopping at the first bound crossed.
    static Verdict scan(const std::string& text);
    // The value; nullopt when the text is not JSON or crosses a bound.
    static std::optional<nlohmann::ordered_json> parse(const std::string& text);
    // What the collector answers for a body past a bound; empty for Within and NotJSON.
    static std::string problem(Verdict verdict);
};

}  // namespace veyrakit
