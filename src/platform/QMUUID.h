#pragma once
#include <string>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

class VEYRAKIT_EXPORT QMUUID {
  public:
    // Random (version 4) UUID in upper-case canonical form, e.g. "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
    static std::string UUIDString();
};

}  // namespace veyrakit
