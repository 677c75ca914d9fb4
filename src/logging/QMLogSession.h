#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMJSON.h"

namespace veyrakit {

// What the remote logger needs of the current monitoring session. The logger sits below the
// session (the plugin) and cannot name it: the layer that owns the plugin installs the lookup.
class QMLogSession {
  public:
    using Lookup = std::function<std::shared_ptr<QMLogSession>()>;

    // The current session, or nothing (also while no lookup is installed).
    static std::shared_ptr<QMLogSession> current();
    static void setLookup(Lookup lookup);

    virtual ~QMLogSession() = default;
    virtual std::optional<std::string> sessionId() const = 0;
    virtual bool isLogReporter() const = 0;
    virtual int32_t LOQ_QUEUE_SIZE() const = 0;
    // Ships serialized log entries as a log report of this session.
    virtual void sendLogReport(const QMJSON& logArray) = 0;
};

}  // namespace veyrakit
