#pragma once
#include <string>
#include <vector>

namespace veyrakit {

// The two layouts the diagnostic streams use, worked out from the raw text so that numbers and
// strings stay exactly as they were sent: the compact form (no white space outside strings) and
// the pretty form (each member and element on its own line, indented by two spaces per level,
// " : " between a key and its value, empty containers as "{}" and "[]").
class QMJSONLayout {
  public:
    // The text's tokens: strings with their quotes and escapes, the punctuation { } [ ] : , and
    // bare words (numbers, true, false, null); the white space between them is dropped.
    static std::vector<std::string> tokens(const std::string& text);
    static std::string compact(const std::string& text);
    static std::string pretty(const std::string& text);
};

}  // namespace veyrakit
