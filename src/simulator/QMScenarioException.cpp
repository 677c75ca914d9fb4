#include "simulator/QMScenarioException.h"

namespace veyrakit {

QMScenarioException::QMScenarioException(const std::string& source, int line, const std::string& detail)
    : QMException("QMScenarioException", source + ":" + std::to_string(line) + ": " + detail),
      source_(source),
      line_(line),
      detail_(detail) {}

}  // namespace veyrakit
