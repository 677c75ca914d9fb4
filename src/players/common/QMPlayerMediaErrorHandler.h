#pragma once
#include <memory>

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "events/QMEventHandler.h"
#include "platform/QMJSON.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMReportType.h"

namespace veyrakit {

// What the media error handlers of both kinds share: the repository's plugin and the player of
// the kind's plugin (`Plugin`) at creation, the PLAYBACK_ERROR report, and the wait for the
// plugin's "sessionId" when a failure comes before the session exists. The kind says what counts
// as a failure and what ends the session.
template <typename Plugin>
class QMPlayerMediaErrorHandler : public QMEventHandler {
  public:
    using Player = typename Plugin::PlayerType;

    // A failure still waiting for the session id must not leave an observation behind.
    ~QMPlayerMediaErrorHandler() override {
        if (observingSessionId_) {
            stopObservingSessionId();
        }
        plugin_.reset();
    }

    std::shared_ptr<QMVeyraPlugin> plugin() const { return plugin_; }
    std::shared_ptr<Player> player() const { return player_; }

  protected:
    // Takes the current plugin and its player from the repository.
    QMPlayerMediaErrorHandler()
        : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()), player_(Plugin::currentPlayer()) {}

    // Observes the plugin's "sessionId" (each call adds an observation).
    void observeSessionId() {
        plugin_->addObserver(this, "sessionId", NSKeyValueObservingOptionNew, nullptr);
        observingSessionId_ = true;
    }
    void stopObservingSessionId() {
        observingSessionId_ = false;
        if (plugin_) {
            plugin_->removeObserver(this, "sessionId");
        }
    }
    // Sends {"type": "E"} with no callbacks through the plugin's on-demand reporter, if it has one.
    static void sendPlaybackErrorReport(const std::shared_ptr<QMVeyraPlugin>& plugin) {
        if (auto reporter = plugin ? plugin->onDemandReporter() : nullptr) {
            reporter->sendOnDemandReport(QMJSON{{"type", QMReportType::PLAYBACK_ERROR()}}, nullptr, nullptr);
        }
    }

    std::shared_ptr<QMVeyraPlugin> plugin_;
    std::shared_ptr<Player> player_;
    // Whether the plugin's "sessionId" is observed now, so that release removes it.
    bool observingSessionId_ = false;
};

}  // namespace veyrakit
