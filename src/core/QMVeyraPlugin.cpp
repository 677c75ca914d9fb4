#include "core/QMVeyraPlugin.h"

#include <utility>

#include "core/QMObjectRepository.h"
#include "events/QMEventManager.h"
#include "logging/QMLogger.h"
#include "metrics/QMMetricManager.h"
#include "platform/QMFormat.h"
#include "platform/QMUserDefaults.h"
#include "platform/UIDevice.h"
#include "reporting/QMJSONPostRequest.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMPeriodicalReporter.h"
#include "reporting/QMReportType.h"
#include "reporting/QMRestLoader.h"
#include "veyrakit/VeyraKitGlobals.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/QMTimer.h"

namespace veyrakit {

namespace {

const std::string kViewerIdDefaultsKey = "viewerId";

}  // namespace

QMVeyraPlugin::QMVeyraPlugin() = default;
QMVeyraPlugin::~QMVeyraPlugin() = default;

const std::string& QMVeyraPlugin::DEFAULT_SERVER_HOST() {
    static const std::string host = "https://collector.veyrakit.invalid";
    return host;
}

std::shared_ptr<QMVeyraPlugin> QMVeyraPlugin::initWithParams(
    std::shared_ptr<QMURL> playbackUrl, std::optional<std::string> streamType,
    std::optional<std::string> assetId, std::optional<std::string> serverHost,
    std::optional<std::string> qmrCID, std::optional<std::string> assetType,
    std::optional<std::string> assetName, std::optional<std::string> viewerId,
    std::optional<QMJSON> assetMetadata, std::optional<QMJSON> viewerMetadata,
    std::optional<QMPluginMetadata> pluginMetadata) {
    assetId_ = std::move(assetId);
    serverHost_ = serverHost ? *std::move(serverHost) : DEFAULT_SERVER_HOST();
    qmrCID_ = std::move(qmrCID);
    assetType_ = assetType ? std::move(assetType) : std::optional<std::string>("VOD");
    assetName_ = std::move(assetName);
    viewerId_ = std::move(viewerId);
    assetMetadata_ = std::move(assetMetadata);
    viewerMetadata_ = std::move(viewerMetadata);
    pluginMetadata_ = std::move(pluginMetadata);
    playbackUrl_ = std::move(playbackUrl);
    streamType_ = std::move(streamType);

    stopped_ = true;
    destroyed_ = false;
    startSessionImmediately_ = false;
    startMetricManager_ = false;
    WaitingForSessionInit_ = false;

    auto self = selfAs<QMVeyraPlugin>();
    QMObjectRepository::getRepositoryInstance()->setPlugin(self);

    uniqueViewerData_ = QMSessionStartProtocol::uniqueViewerData(
        QMUserDefaults::standardUserDefaults()->objectForKey(kViewerIdDefaultsKey));
    initLog_ = QMSessionStartProtocol::initLog(sessionFields(), pluginMetadata_);

    if (playbackUrl_) {
        registerEventHandlers();
        QMLogger::info("get session id from server - initWithParams", "IR");
        getSessionIdFromServer();
    } else {
        QMLogger::error("This player is not loaded from URL. Veyra Plugin will be terminated.", "X");
        destroy();
    }

    // Also after a destroy above: the event manager is made and started regardless.
    setEventManager(getEventManagerInstance());
    if (eventManager_) {
        eventManager_->start();
    }
    return self;
}

QMSessionStartProtocol::Fields QMVeyraPlugin::sessionFields() const {
    return {
        .mediaUrl = playbackUrl_ ? std::optional<std::string>(playbackUrl_->absoluteString()) : std::nullopt,
        .streamType = streamType_,
        .assetId = assetId_,
        .qmrCID = qmrCID_,
        .assetType = assetType_,
        .assetName = assetName_,
        .viewerId = viewerId_,
        .assetMetadata = assetMetadata_,
        .viewerMetadata = viewerMetadata_,
        .uniqueViewerData = uniqueViewerData_};
}

void QMVeyraPlugin::setMetricManager(std::shared_ptr<QMMetricManager> metricManager) {
    metricManager_ = std::move(metricManager);
}

void QMVeyraPlugin::setOnDemandReporter(std::shared_ptr<QMOnDemandReporter> onDemandReporter) {
    onDemandReporter_ = std::move(onDemandReporter);
}

void QMVeyraPlugin::setPeriodicalReporter(std::shared_ptr<QMPeriodicalReporter> periodicalReporter) {
    periodicalReporter_ = std::move(periodicalReporter);
}

void QMVeyraPlugin::setEventManager(std::shared_ptr<QMEventManager> eventManager) {
    eventManager_ = std::move(eventManager);
}

void QMVeyraPlugin::setSessionId(std::optional<std::string> sessionId) {
    willChangeValueForKey("sessionId");
    sessionId_ = std::move(sessionId);
    didChangeValueForKey("sessionId", std::any(sessionId_));
}

void QMVeyraPlugin::onPlayerStart() {
    if (!destroyed_ && stopped_) {
        stopped_ = false;
        if (sessionId_) {
            startSession();
        } else {
            WaitingForSessionInit_ = true;
        }
    }
    if (destroyed_ && stopped_) {
        // A restart after tear-down revives the session with a fresh metric manager and request.
        stopped_ = false;
        destroyed_ = false;
        setMetricManager(getMetricManagerInstance());
        if (metricManager_) {
            metricManager_->start();
        }
        QMLogger::info("get session id from server - onPlayerStart:QMVeyraPlugin", "IR");
        getSessionIdFromServer();
        return;
    }
    if (!startMetricManager_) {
        startMetricManager_ = true;
        setMetricManager(getMetricManagerInstance());
        if (metricManager_) {
            metricManager_->start();
        }
    }
}

void QMVeyraPlugin::onPlayerStop() { stopped_ = true; }

void QMVeyraPlugin::destroy() {
    if (destroyed_) {
        return;
    }
    QMLogger::info("Disposing all parts", "T");
    QMLogger::flushLogs();
    destroyed_ = true;
    if (auto reporter = periodicalReporter_) {
        reporter->dispose();
        setPeriodicalReporter(nullptr);
    }
    if (auto manager = eventManager_) {
        manager->dispose();
        setEventManager(nullptr);
    }
    if (auto manager = metricManager_) {
        manager->dispose();
        setMetricManager(nullptr);
    }
}

void QMVeyraPlugin::sendLogReport(const QMJSON& logArray) {
    QMJSON cid = QMJSON::array();
    if (qmrCID_) {
        cid.push_back(*qmrCID_);
    }
    QMJSON report = QMJSON::object();
    report["type"] = QMReportType::LOG_REPORT();
    report["logArray"] = logArray;
    report["cid"] = cid;
    if (onDemandReporter_) {
        onDemandReporter_->sendOnDemandReport(report, nullptr, nullptr);
    }
}

void QMVeyraPlugin::viewerFaultReport(const std::string& errorCode, const std::string& playerVersion) {
    QMJSON report = {{"type", QMReportType::FAULT_REPORT()},
                     {"manual", 1},
                     {"errorCode", errorCode},
                     {"playerVersion", playerVersion}};
    if (onDemandReporter_) {
        onDemandReporter_->sendOnDemandReport(std::move(report), nullptr, nullptr);
    } else {
        QMLogger::error("Viewer wants to report a fault but there is no reporter to do that. ", "X");
    }
}

void QMVeyraPlugin::getSessionIdFromServer() { getSessionIdFromServer(false); }

void QMVeyraPlugin::getSessionIdFromServer(bool startImmediately) {
    startSessionImmediately_ = startImmediately;
    QMLogger::start();
    if (destroyed_) {
        return;
    }
    if (QMSessionStartProtocol::isBlank(assetId_)) {
        QMLogger::error("Missing mandatory field 'assetId'. Agent will shutdown...", "X");
        destroy();
        return;
    }
    if (QMSessionStartProtocol::isBlank(qmrCID_)) {
        QMLogger::error("Missing mandatory field 'qmrCID'. Agent will shutdown...", "X");
        destroy();
        return;
    }
    const QMJSON body = QMSessionStartProtocol::requestBody(sessionFields());
    QMLogger::info(initLog_, "I");
    sendSessionRequest(body);
}

void QMVeyraPlugin::sendSessionRequest(const QMJSON& body) {
    auto device = UIDevice::currentDevice();
    auto request = QMJSONPostRequest::requestWithURL(
        QMURL::URLWithString(QMSessionStartProtocol::initURLString(serverHost_)),
        QMJSONSerialization::dataWithJSONObject(body),
        {{"User-Agent", QMSessionStartProtocol::userAgent(device->model(), device->systemName(),
                                                          device->systemVersion())}});
    QMURLConnection::connectionWithRequest(request, selfAs<QMVeyraPlugin>(), true);
}

void QMVeyraPlugin::connection(QMURLConnection&,
                               const std::shared_ptr<QMHTTPURLResponse>& didReceiveResponse) {
    if (!didReceiveResponse || didReceiveResponse->statusCode() != 200) {
        QMLogger::error("HTTP response code non-200 received. Agent will shutdown", "X");
        destroy();
    }
}

void QMVeyraPlugin::connection(QMURLConnection&, const std::string& didReceiveData) {
    QMRestLoader::appendResponseData(connectionData_, didReceiveData);
}

void QMVeyraPlugin::connectionDidFinishLoading(QMURLConnection&) {
    if (destroyed_) {
        QMLogger::error("SessionId is obtained but reporting mechanism is destroyed. ", "X");
        return;
    }
    applySessionAnswer(QMSessionStartProtocol::readAnswer(connectionData_.value_or("")));
}

void QMVeyraPlugin::applySessionAnswer(const QMSessionStartProtocol::Answer& answer) {
    if (answer.logQueueSize) {
        setLOQ_QUEUE_SIZE(*answer.logQueueSize);
        if (answer.sendLog) {
            setIsLogReporter(*answer.sendLog);
        }
    }
    QMLogger::info(QMFormat("log queue size:%d", LOQ_QUEUE_SIZE_), "T");
    INTERVAL_LENGTH = answer.intervalLength;

    if (applyThrottle(answer)) {
        return;  // the buffer is kept on the throttled paths
    }
    if (!answer.sessionId) {
        QMLogger::error("sessionID is null", "X");
        destroy();
    } else {
        acceptSessionId(answer);
    }
    connectionData_.reset();
}

bool QMVeyraPlugin::applyThrottle(const QMSessionStartProtocol::Answer& answer) {
    using Throttle = QMSessionStartProtocol::Throttle;
    const Throttle throttle = QMSessionStartProtocol::throttleOf(answer.skipReports);
    if (throttle == Throttle::Proceed) {
        return false;
    }
    QMLogger::info(QMSessionStartProtocol::throttleLogLine(answer), "IR");
    if (throttle == Throttle::ShutDown) {
        destroy();
        return true;
    }
    auto self = selfAs<QMVeyraPlugin>();
    QMTimer::scheduledTimerWithTimeInterval(
        QMSessionStartProtocol::retryDelaySeconds(answer.skipReports, INTERVAL_LENGTH),
        [self](QMTimer&) { self->onRetryTimeReached(); }, false);
    return true;
}

void QMVeyraPlugin::acceptSessionId(const QMSessionStartProtocol::Answer& answer) {
    if (answer.offeredViewerId) {
        if (const auto refusal = QMSessionStartProtocol::viewerIdRefusal(*answer.offeredViewerId)) {
            QMLogger::error(*refusal, "X");
        } else {
            auto defaults = QMUserDefaults::standardUserDefaults();
            defaults->setObject(*answer.offeredViewerId, kViewerIdDefaultsKey);
            defaults->synchronize();
        }
    }
    setPeriodicalReporter(std::make_shared<QMPeriodicalReporter>());
    setOnDemandReporter(std::make_shared<QMOnDemandReporter>());
    setSessionId(answer.sessionId);

    QMLogger::info(QMSessionStartProtocol::sessionLogLine(answer), "IR");
    if (startSessionImmediately_ || WaitingForSessionInit_) {
        startSessionImmediately_ = false;
        WaitingForSessionInit_ = false;
        startSession();
    }
}

void QMVeyraPlugin::connection(QMURLConnection&, const std::shared_ptr<QMError>& didFailWithError) {
    connectionData_.reset();
    if (playerIdFetchRetryCount_ > 2) {
        QMLogger::error("Cannot connect to server.", "X");
        QMNotificationCenter::defaultCenter()->postNotificationName("destroy", nullptr);
        return;
    }
    ++playerIdFetchRetryCount_;
    QMLogger::info("get session id from server - didFailWithError:QMVeyraPlugin", "IR");
    getSessionIdFromServer();
}

void QMVeyraPlugin::onRetryTimeReached() {
    QMLogger::info("get session id from server - onRetryTimeReached:QMVeyraPlugin", "IR");
    getSessionIdFromServer();
}

void QMVeyraPlugin::startSession() {
    auto reporter = onDemandReporter_;
    if (!reporter) {
        return;
    }
    auto self = selfAs<QMVeyraPlugin>();
    reporter->sendOnDemandReport(
        QMJSON{{"type", QMReportType::SESSION_START()}},
        [self](const std::optional<QMJSON>&) {
            QMLogger::info("", "SR");
            if (auto periodical = self->periodicalReporter()) {
                periodical->start();
            }
        },
        [self](int32_t) {
            QMLogger::error("Cannot start session.", "X");
            self->destroy();
        });
}

std::shared_ptr<QMMetricManager> QMVeyraPlugin::getMetricManagerInstance() { return nullptr; }

std::shared_ptr<QMEventManager> QMVeyraPlugin::getEventManagerInstance() { return nullptr; }

void QMVeyraPlugin::registerEventHandlers() {}
void QMVeyraPlugin::deregisterEventHandlers() {}
void QMVeyraPlugin::dispose() {}
void QMVeyraPlugin::sizeChangedToFullScreen() {}
void QMVeyraPlugin::sizeChangedToWindow() {}
void QMVeyraPlugin::stopPlayback() {}
void QMVeyraPlugin::startAds() {}
void QMVeyraPlugin::stopAds() {}

}  // namespace veyrakit
