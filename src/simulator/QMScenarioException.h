#pragma once
#include <string>

#include "platform/QMException.h"

namespace veyrakit {

// A scenario that cannot be played: raised by the parser with the source's name, the line
// (1-based; 0 when the problem is not tied to a line, such as an unreadable file) and what is
// wrong. reason() reads "<source>:<line>: <detail>".
class QMScenarioException : public QMException {
  public:
    QMScenarioException(const std::string& source, int line, const std::string& detail);

    const std::string& source() const { return source_; }
    int line() const { return line_; }
    const std::string& detail() const { return detail_; }

  private:
    std::string source_;
    int line_;
    std::string detail_;
};

}  // namespace veyrakit
