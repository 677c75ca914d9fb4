#include "veyrakit/VeyraKitGlobals.h"

namespace veyrakit {

int32_t INTERVAL_LENGTH = 10;
const std::string METRIC_PULSE_NUMBER = "pulseNumber";

const double VeyraKitVersionNumber = 16.0;
const unsigned char VeyraKitVersionString[] = "@(#)PROGRAM:VeyraKit  PROJECT:VeyraKit-16\n";

}  // namespace veyrakit
