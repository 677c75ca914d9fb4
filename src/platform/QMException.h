#pragma once
#include <stdexcept>
#include <string>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// Root of the typed exceptions the library raises on misuse: a name and a reason, as the
// platform's exception object has. `%@` of an exception prints its reason.
class VEYRAKIT_EXPORT QMException : public std::runtime_error {
  public:
    QMException(std::string name, const std::string& reason);
    const std::string& name() const { return name_; }
    std::string reason() const { return what(); }

  private:
    std::string name_;
};

class VEYRAKIT_EXPORT QMIllegalStateException : public QMException {
  public:
    explicit QMIllegalStateException(const std::string& reason);
};

class VEYRAKIT_EXPORT QMIllegalTimeStampException : public QMException {
  public:
    explicit QMIllegalTimeStampException(const std::string& reason);
};

// Raised by abstract operations ("You must override %@ in a subclass").
class VEYRAKIT_EXPORT QMInternalInconsistencyException : public QMException {
  public:
    explicit QMInternalInconsistencyException(const std::string& reason);
};

// Raised where the platform's string and collection types raise on bad arguments
// (appending nothing to a string, a format whose arguments do not match, ...).
class VEYRAKIT_EXPORT QMInvalidArgumentException : public QMException {
  public:
    explicit QMInvalidArgumentException(const std::string& reason);
};

}  // namespace veyrakit
