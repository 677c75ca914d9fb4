#pragma once
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// JSON values keep their keys in insertion order, as the platform's serialiser emits them in the
// order they were built here.
using QMJSON = nlohmann::ordered_json;

class VEYRAKIT_EXPORT QMJSONSerialization {
  public:
    // The deepest nesting of objects and arrays a parsed document may have: 512 collections, one
    // inside the other; a document nested deeper is not JSON. 512 is where the platform's own
    // parser stops, so every answer it would read is read here too (the protocol's answers are
    // flat objects, and a stored viewer id is a string). The bound also keeps what the SDK
    // does with a parsed value cheap: its own writers and describers do not recurse, but the JSON
    // library copies and compares values recursively: at 512 levels a copy and a comparison
    // fit in 80 KiB of stack (an optimised build), where 100,000 levels overflowed the host's.
    static constexpr std::size_t kMaximumNestingDepth = 512;

    // Compact: no whitespace at all ({"a":1,"b":"x"}). Numbers as the platform writes them:
    // integers as integers, a double with an integral value without a fraction (2.0 -> 2),
    // other doubles in their shortest round-trip form; NaN and infinities as null. Strings are
    // escaped as JSON requires and nothing more ("/" stays as it is).
    static std::string dataWithJSONObject(const QMJSON& object);
    // Pretty: indented by two spaces, " : " between key and value (the diagnostics' format).
    static std::string prettyDataWithJSONObject(const QMJSON& object);
    // Appends `value` pretty, as it reads nested `nestingLevel` levels deep in a pretty document:
    // its inner lines indented by that many levels more. Lets a sender write a document's parts
    // separately, keeping a part that does not change as text.
    static void appendPrettyData(std::string& out, const QMJSON& value, int nestingLevel);
    // nullopt for an empty or broken body, for a bare scalar ("3", "\"x\""): as on the platform
    // without fragments allowed, only an object or an array is a document; and for one nested
    // deeper than kMaximumNestingDepth. Linear in the body's size, and never throws.
    static std::optional<QMJSON> JSONObjectWithData(const std::string& data);
};

// The platform's textual description of a value, as `%@` prints it: a string as itself, a number
// as its decimal text (booleans as 1 or 0), null as "<null>", arrays as "(\n    a,\n    b\n)" and
// objects as "{\n    key = value;\n}". Inside a collection a string that is not a plain word
// ([A-Za-z0-9_]+) is quoted ("a b", "http://x"), so is null ("<null>"), and a nested collection
// is indented by its own level once more ("key =     (").
VEYRAKIT_EXPORT std::string QMDescription(const QMJSON& value);

// The platform's integer reading of a value (a number's or a numeric string's intValue): numbers
// truncated, strings by their leading integer after optional white space, booleans 1 or 0,
// anything else 0; clamped to 32 bits.
VEYRAKIT_EXPORT int32_t QMJSONIntValue(const QMJSON& value);

}  // namespace veyrakit
