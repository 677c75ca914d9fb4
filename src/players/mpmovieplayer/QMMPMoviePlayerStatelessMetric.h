#pragma once
#include <memory>
#include <string>

#include "metrics/QMStatelessMetric.h"
#include "platform/QMJSON.h"

class MPMoviePlayerController;
class QMVeyraPlugin;

// What the stateless movie player metrics share: the plugin and player of the repository at
// creation, and a one-shot report held back until the plugin's "sessionId" is set.
class VEYRAKIT_EXPORT QMMPMoviePlayerStatelessMetric : public QMStatelessMetric {
  public:
    ~QMMPMoviePlayerStatelessMetric() override;

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
    std::shared_ptr<MPMoviePlayerController> player() const { return player_; }
    bool removeSessionId() const { return removeSessionId_; }

  protected:
    // Takes the current plugin and its player from the repository and observes the plugin's
    // "sessionId" at once, so that a session id arriving at any time is seen.
    QMMPMoviePlayerStatelessMetric();

    bool hasSessionId() const;
    // Through the plugin's on-demand reporter (nothing without one); the completion logs an empty
    // message under `completionPrefix`.
    void sendOnDemandReport(const QMJSON& report, const std::string& completionPrefix) const;

    std::shared_ptr<QMVeyraPlugin> plugin_;
    std::shared_ptr<MPMoviePlayerController> player_;

  private:
    void stopObservingSessionId();

    bool removeSessionId_ = false;
};
