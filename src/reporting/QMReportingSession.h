#pragma once
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace veyrakit {

class QMMetricManager;
class QMPeriodicalReporter;

// What the reporters need of the current monitoring session. The reporters sit below the session
// (the plugin) and cannot name it: the layer that owns the plugin installs the lookup.
class QMReportingSession {
  public:
    using Lookup = std::function<std::shared_ptr<QMReportingSession>()>;

    // The current session, or nothing (also while no lookup is installed).
    static std::shared_ptr<QMReportingSession> current();
    static void setLookup(Lookup lookup);

    virtual ~QMReportingSession() = default;
    virtual const std::string& serverHost() const = 0;
    virtual std::optional<std::string> sessionId() const = 0;
    virtual std::shared_ptr<QMMetricManager> metricManager() const = 0;
    virtual std::shared_ptr<QMPeriodicalReporter> periodicalReporter() const = 0;
    virtual void destroy() = 0;
};

}  // namespace veyrakit
