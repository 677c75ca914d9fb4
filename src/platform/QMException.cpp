#include "platform/QMException.h"

#include <utility>

namespace veyrakit {

QMException::QMException(std::string name, const std::string& reason)
    : std::runtime_error(reason), name_(std::move(name)) {}

QMIllegalStateException::QMIllegalStateException(const std::string& reason)
    : QMException("QMIllegalStateException", reason) {}

QMIllegalTimeStampException::QMIllegalTimeStampException(const std::string& reason)
    : QMException("QMIllegalTimeStampException", reason) {}

QMInternalInconsistencyException::QMInternalInconsistencyException(const std::string& reason)
    : QMException("NSInternalInconsistencyException", reason) {}

QMInvalidArgumentException::QMInvalidArgumentException(const std::string& reason)
    : QMException("NSInvalidArgumentException", reason) {}

}  // namespace veyrakit
