#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "metrics/QMBufferingMetric.h"
#include "platform/QMJSON.h"

namespace veyrakit {

class QMVeyraPlugin;

// The buffering metric of every player kind as far as its plugin goes: the plugin of the
// repository at creation, and the JOIN_TIME report, sent through the plugin's on-demand reporter
// or held back until the plugin's "sessionId" is set. Player kinds add their player's signals.
class QMPluginBufferingMetric : public QMBufferingMetric {
  public:
    ~QMPluginBufferingMetric() override;

    // Plugin's "sessionId" set: stop observing it and onReporterReady. A change to none does
    // nothing and the observation stays.
    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

    // {"type": "J", "joinTime": ms}: sent now when the session id is known, else held back
    // (replacing an earlier held one).
    void makeJoinTimeOnDemandRequest(int64_t joinTime) override;
    // Sends a held-back JOIN_TIME report, once.
    void onReporterReady();

    bool removeSessionId() const { return removeSessionId_; }
    std::shared_ptr<QMVeyraPlugin> plugin() const { return plugin_; }
    const std::optional<QMJSON>& unsentJoinTimeReport() const { return unsentJoinTimeReport_; }

  protected:
    // Takes the current plugin from the repository and observes its "sessionId" at once, so that
    // a session id arriving at any time is seen.
    QMPluginBufferingMetric();

    // Removes the "sessionId" observation unless that was done already.
    void stopObservingSessionIdOnce();

    std::shared_ptr<QMVeyraPlugin> plugin_;

  private:
    void sendJoinTimeReport(const QMJSON& report);

    bool removeSessionId_ = false;
    std::optional<QMJSON> unsentJoinTimeReport_;
};

}  // namespace veyrakit
