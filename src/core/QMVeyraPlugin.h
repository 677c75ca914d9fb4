#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "core/QMSessionStartProtocol.h"
#include "logging/QMLogSession.h"
#include "platform/QMJSON.h"
#include "platform/QMURLConnection.h"
#include "reporting/QMReportingSession.h"
#include "veyrakit/QMSessionDescription.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

class QMEventManager;
class QMMetricManager;
class QMOnDemandReporter;
class QMPeriodicalReporter;

// Base of every player plugin: one monitoring session. Holds the host's parameters, obtains the
// session id from the server (it is the session request's connection delegate), owns both
// reporters, the metric manager and the event manager, and decides when reporting starts and how
// the session is torn down. Player plugins supply the player, the playback URL and stream type
// and the concrete managers through the overridable factories and hooks.
//
// Make it with std::make_shared, then call initWithParams (it registers the plugin in the
// repository, so it needs the shared owner).
class QMVeyraPlugin : public QMObject,
                      public QMURLConnectionDelegate,
                      public QMLogSession,
                      public QMReportingSession {
  public:
    QMVeyraPlugin();
    ~QMVeyraPlugin() override;

    // The HTTPS base URL used when the host gives no server host.
    static const std::string& DEFAULT_SERVER_HOST();

    // Stores the parameters, registers in the repository, builds the stored viewer data and the
    // init log line, registers event handlers, requests the session id and starts the event
    // manager. Returns this plugin. An absent playback URL throws QMInvalidArgumentException
    // while the init log line is built (after the plugin was registered).
    std::shared_ptr<QMVeyraPlugin> initWithParams(
        std::shared_ptr<QMURL> playbackUrl, std::optional<std::string> streamType,
        std::optional<std::string> assetId, std::optional<std::string> serverHost,
        std::optional<std::string> qmrCID, std::optional<std::string> assetType,
        std::optional<std::string> assetName, std::optional<std::string> viewerId,
        std::optional<QMJSON> assetMetadata, std::optional<QMJSON> viewerMetadata,
        std::optional<QMPluginMetadata> pluginMetadata);

    // Properties.
    std::shared_ptr<QMMetricManager> metricManager() const override { return metricManager_; }
    void setMetricManager(std::shared_ptr<QMMetricManager> metricManager);
    std::shared_ptr<QMOnDemandReporter> onDemandReporter() const { return onDemandReporter_; }
    void setOnDemandReporter(std::shared_ptr<QMOnDemandReporter> onDemandReporter);
    std::shared_ptr<QMPeriodicalReporter> periodicalReporter() const override { return periodicalReporter_; }
    void setPeriodicalReporter(std::shared_ptr<QMPeriodicalReporter> periodicalReporter);
    std::shared_ptr<QMEventManager> eventManager() const { return eventManager_; }
    void setEventManager(std::shared_ptr<QMEventManager> eventManager);

    std::optional<std::string> assetId() const { return assetId_; }
    std::optional<std::string> qmrCID() const { return qmrCID_; }
    std::optional<std::string> assetType() const { return assetType_; }
    std::optional<std::string> assetName() const { return assetName_; }
    std::optional<std::string> viewerId() const { return viewerId_; }
    const std::string& serverHost() const override { return serverHost_; }
    std::optional<QMJSON> assetMetadata() const { return assetMetadata_; }  // [{"key","values"}]
    std::optional<QMJSON> viewerMetadata() const { return viewerMetadata_; }

    // Observable under the key "sessionId"; the change's new value is the
    // std::optional<std::string> that was set.
    std::optional<std::string> sessionId() const override { return sessionId_; }
    virtual void setSessionId(std::optional<std::string> sessionId);

    int32_t LOQ_QUEUE_SIZE() const override { return LOQ_QUEUE_SIZE_; }
    void setLOQ_QUEUE_SIZE(int32_t size) { LOQ_QUEUE_SIZE_ = size; }
    bool isLogReporter() const override { return isLogReporter_; }
    void setIsLogReporter(bool isLogReporter) { isLogReporter_ = isLogReporter; }

    // Read-only views of the session's internal state.
    const std::shared_ptr<QMURL>& playbackUrl() const { return playbackUrl_; }
    const std::optional<std::string>& streamType() const { return streamType_; }
    const std::optional<QMPluginMetadata>& pluginMetadata() const { return pluginMetadata_; }
    const QMJSON& uniqueViewerData() const { return uniqueViewerData_; }
    const std::string& initLog() const { return initLog_; }
    bool destroyed() const { return destroyed_; }
    bool stopped() const { return stopped_; }
    bool startSessionImmediately() const { return startSessionImmediately_; }
    bool WaitingForSessionInit() const { return WaitingForSessionInit_; }
    int32_t playerIdFetchRetryCount() const { return playerIdFetchRetryCount_; }

    // Lifecycle.
    void onPlayerStart();
    void onPlayerStop();
    void destroy() override;
    void viewerFaultReport(const std::string& errorCode, const std::string& playerVersion);
    // A log report of this session ({"type", "logArray", "cid"}) through the on-demand reporter.
    void sendLogReport(const QMJSON& logArray) override;

    // Session start exchange.
    void getSessionIdFromServer();
    void getSessionIdFromServer(bool startImmediately);
    void onRetryTimeReached();
    void startSession();

    void connection(QMURLConnection& connection,
                    const std::shared_ptr<QMHTTPURLResponse>& didReceiveResponse) override;
    void connection(QMURLConnection& connection, const std::string& didReceiveData) override;
    void connectionDidFinishLoading(QMURLConnection& connection) override;
    void connection(QMURLConnection& connection, const std::shared_ptr<QMError>& didFailWithError) override;

    // Overridable factories and hooks (the base makes nothing and observes nothing).
    virtual std::shared_ptr<QMMetricManager> getMetricManagerInstance();
    virtual std::shared_ptr<QMEventManager> getEventManagerInstance();
    virtual void registerEventHandlers();
    virtual void deregisterEventHandlers();

    // Player commands forwarded by the facade and observer removal; the base has no player, so
    // they do nothing here. Player plugins override them.
    virtual void dispose();
    virtual void sizeChangedToFullScreen();
    virtual void sizeChangedToWindow();
    virtual void stopPlayback();
    virtual void startAds();
    virtual void stopAds();

  private:
    QMSessionStartProtocol::Fields sessionFields() const;
    void sendSessionRequest(const QMJSON& body);
    void applySessionAnswer(const QMSessionStartProtocol::Answer& answer);
    bool applyThrottle(const QMSessionStartProtocol::Answer& answer);
    void acceptSessionId(const QMSessionStartProtocol::Answer& answer);

    std::shared_ptr<QMMetricManager> metricManager_;
    std::shared_ptr<QMOnDemandReporter> onDemandReporter_;
    std::shared_ptr<QMPeriodicalReporter> periodicalReporter_;
    std::shared_ptr<QMEventManager> eventManager_;

    std::optional<std::string> assetId_;
    std::string serverHost_;
    std::optional<std::string> sessionId_;
    std::optional<std::string> qmrCID_;
    std::optional<std::string> assetType_;
    std::optional<std::string> assetName_;
    std::optional<std::string> viewerId_;
    std::optional<QMJSON> assetMetadata_;
    std::optional<QMJSON> viewerMetadata_;
    int32_t LOQ_QUEUE_SIZE_ = 0;
    bool isLogReporter_ = false;

    std::shared_ptr<QMURL> playbackUrl_;
    std::optional<std::string> streamType_;
    std::optional<QMPluginMetadata> pluginMetadata_;
    QMJSON uniqueViewerData_;  // null until initialisation builds it
    std::string initLog_;
    std::optional<std::string> connectionData_;
    bool destroyed_ = false;
    bool stopped_ = true;
    bool startSessionImmediately_ = false;
    bool startMetricManager_ = false;
    bool WaitingForSessionInit_ = false;
    int32_t playerIdFetchRetryCount_ = 0;
};

}  // namespace veyrakit
