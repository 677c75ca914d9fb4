#pragma once
#include <memory>
#include <string>

#include "metrics/QMStatelessMetric.h"
#include "platform/QMJSON.h"

namespace veyrakit {

class QMVeyraPlugin;

// What the stateless metrics of every player kind share: the plugin of the repository at
// creation, and a one-shot report held back until the plugin's "sessionId" is set. Player kinds
// add their player.
class QMPluginStatelessMetric : public QMStatelessMetric {
  public:
    ~QMPluginStatelessMetric() override;

    // Always: the manager asks for values on every report.
    bool canCollectMetric() override;
    // Removes the "sessionId" observation, once.
    void stopMetricCollection() override;
    // "sessionId" set: the observation is removed and onReporterReady called.
    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;
    // Sends the report held back for the session id, if any.
    virtual void onReporterReady() = 0;

    std::shared_ptr<QMVeyraPlugin> plugin() const { return plugin_; }
    bool removeSessionId() const { return removeSessionId_; }

  protected:
    // Takes the current plugin from the repository and observes its "sessionId" at once, so that
    // a session id arriving at any time is seen.
    QMPluginStatelessMetric();

    bool hasSessionId() const;
    // Through the plugin's on-demand reporter (nothing without one); the completion logs an empty
    // message under `completionPrefix`.
    void sendOnDemandReport(const QMJSON& report, const std::string& completionPrefix) const;

    std::shared_ptr<QMVeyraPlugin> plugin_;

  private:
    void stopObservingSessionId();

    bool removeSessionId_ = false;
};

}  // namespace veyrakit
