#pragma once
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "platform/QMExport.h"

// JSON values keep their keys in insertion order, as the platform's serialiser emits them in the
// order they were built here.
using QMJSON = nlohmann::ordered_json;

class VEYRAKIT_EXPORT QMJSONSerialization {
public:
    // Compact: no whitespace at all ({"a":1,"b":"x"}). Numbers as the platform writes them:
    // integers as integers, a double with an integral value without a fraction (2.0 -> 2),
    // other doubles in their shortest round-trip form.
    static std::string dataWithJSONObject(const QMJSON& object);
    // Pretty: indented by two spaces, " : " between key and value (the diagnostics' format).
    static std::string prettyDataWithJSONObject(const QMJSON& object);
    // nullopt for an empty or broken body; never throws.
    static std::optional<QMJSON> JSONObjectWithData(const std::string& data);
};

// The platform's textual description of a value, as `%@` prints it: a string as itself, a number
// as its decimal text (booleans as 1 or 0), null as "<null>", arrays as "(\n    a,\n    b\n)" and
// objects as "{\n    key = value;\n}".
VEYRAKIT_EXPORT std::string QMDescription(const QMJSON& value);
