#pragma once
#include <string>

namespace veyrakit {

// Client text made safe to print on a terminal: control characters (C0, DEL and C1, which start
// escape sequences that recolour, retitle or rewrite the screen) and bytes that are not UTF-8
// are written as escapes ("\x1b", "\u009b"); everything else stays as it is.
class QMConsoleText {
  public:
    static std::string escaped(const std::string& text);
};

}  // namespace veyrakit
