#include "core/QMVeyraPlugin.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <utility>

#include "core/QMObjectRepository.h"
#include "events/QMEventManager.h"
#include "logging/QMLogger.h"
#include "metrics/QMMetricManager.h"
#include "platform/QMException.h"
#include "platform/QMFormat.h"
#include "platform/QMNotificationCenter.h"
#include "platform/QMRegularExpression.h"
#include "platform/QMTimer.h"
#include "platform/QMURLRequest.h"
#include "platform/QMUserDefaults.h"
#include "platform/UIDevice.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMPeriodicalReporter.h"
#include "reporting/QMReportType.h"
#include "reporting/QMRestLoader.h"
#include "veyrakit/VeyraKitGlobals.h"

namespace {

const std::string kViewerIdDefaultsKey = "viewerId";

const QMJSON* member(const std::optional<QMJSON>& object, const std::string& key) {
    if (!object || !object->is_object()) {
        return nullptr;
    }
    auto it = object->find(key);
    return it == object->end() ? nullptr : &*it;
}

// Text appended to a mutable string: only strings can be appended; anything else raises as the
// platform string does when handed an object that is not a string.
const std::string& appendableText(const QMJSON& value) {
    if (!value.is_string()) {
        throw QMInvalidArgumentException(
            QMFormat("-[NSMutableString appendString:]: argument is not a string: %@", value));
    }
    return value.get_ref<const std::string&>();
}

std::string elementText(const QMJSON& value) {
    return value.is_string() ? value.get<std::string>() : QMDescription(value);
}

// "AMT: {genre:[a, b, ]}, ": the closing bracket is written once for the whole block.
void appendMetadataBlock(std::string& log, const std::string& label, const QMJSON& metadata) {
    log += label + ": {";
    if (metadata.is_array()) {
        for (const auto& item : metadata) {
            const QMJSON* key = item.is_object() && item.contains("key") ? &item["key"] : nullptr;
            log += (key ? elementText(*key) : std::string()) + ":[";
            if (item.is_object() && item.contains("values") && item["values"].is_array()) {
                for (const auto& value : item["values"]) {
                    log += elementText(value) + ", ";
                }
            }
        }
    }
    log += "]}, ";
}

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
    serverHost_ = serverHost ? std::move(*serverHost) : DEFAULT_SERVER_HOST();
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

    buildUniqueViewerData();
    buildInitLog();

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

void QMVeyraPlugin::buildUniqueViewerData() {
    if (uniqueViewerData_.is_null()) {
        uniqueViewerData_ = QMJSON::array();
    }
    std::optional<QMJSON> stored = QMUserDefaults::standardUserDefaults()->objectForKey(kViewerIdDefaultsKey);
    const bool present = stored && !stored->is_null() &&
                         !(stored->is_string() && stored->get_ref<const std::string&>().empty());
    if (present) {
        // The stored id goes out bare, the cookie flag as an array: the server expects both forms.
        uniqueViewerData_ =
            QMJSON::array({QMJSON{{"key", "viewerId"}, {"values", *stored}},
                           QMJSON{{"key", "viewerIdInCookie"}, {"values", QMJSON::array({"true"})}}});
    } else {
        uniqueViewerData_ =
            QMJSON::array({QMJSON{{"key", "viewerIdInCookie"}, {"values", QMJSON::array({"false"})}}});
    }
}

void QMVeyraPlugin::buildInitLog() {
    std::string log = "URL: '";
    if (!playbackUrl_) {
        throw QMInvalidArgumentException("*** -[NSMutableString appendString:]: nil argument");
    }
    log += playbackUrl_->absoluteString();
    log += "', ST: '" + streamType_.value_or("");
    log += "', AID: '" + assetId_.value_or("");
    log += "', VID: '" + viewerId_.value_or("");
    log += "', CID: '" + qmrCID_.value_or("");
    log += "', AT: '" + assetType_.value_or("");
    log += "', AN: '" + assetName_.value_or("");
    log += "', ";
    if (assetMetadata_) {
        appendMetadataBlock(log, "AMT", *assetMetadata_);
    }
    if (viewerMetadata_) {
        appendMetadataBlock(log, "VMT", *viewerMetadata_);
    }
    if (pluginMetadata_) {
        log += "PMT: {";
        for (const auto& [key, value] : *pluginMetadata_) {
            log += key + ": '" + value + "', ";
        }
        log += "]}, ";
    }
    initLog_ = std::move(log);
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
    if (isBlank(assetId_)) {
        QMLogger::error("Missing mandatory field 'assetId'. Agent will shutdown...", "X");
        destroy();
        return;
    }
    if (isBlank(qmrCID_)) {
        QMLogger::error("Missing mandatory field 'qmrCID'. Agent will shutdown...", "X");
        destroy();
        return;
    }
    const QMJSON body = sessionRequestBody();
    QMLogger::info(initLog_, "I");
    sendSessionRequest(body);
}

bool QMVeyraPlugin::isBlank(const std::optional<std::string>& value) const {
    if (!value) {
        return true;
    }
    auto pattern =
        QMRegularExpression::regularExpressionWithPattern("^[\\s]*$", NSRegularExpressionCaseInsensitive);
    return pattern && pattern->numberOfMatchesInString(*value) > 0;
}

QMJSON QMVeyraPlugin::sessionRequestBody() const {
    QMJSON body = QMJSON::object();
    body["assetId"] = *assetId_;
    body["qmrCID"] = *qmrCID_;
    if (assetName_) {
        body["assetName"] = *assetName_;
    }
    if (viewerId_) {
        body["viewerId"] = *viewerId_;
    }
    body["protocolVersion"] = "1.1";
    if (playbackUrl_) {
        body["mediaUrl"] = playbackUrl_->absoluteString();
    }
    if (streamType_) {
        body["streamType"] = *streamType_;
    }
    if (assetType_) {
        body["assetType"] = *assetType_;
    }
    if (assetMetadata_) {
        body["assetMetadata"] = *assetMetadata_;
    }
    if (viewerMetadata_) {
        body["viewerMetadata"] = *viewerMetadata_;
    }
    body["uniqueViewerData"] = uniqueViewerData_;
    return body;
}

void QMVeyraPlugin::sendSessionRequest(const QMJSON& body) {
    auto request =
        QMURLRequest::requestWithURL(QMURL::URLWithString(QMFormat("%@/player/init", serverHost_)));
    request->setHTTPMethod("POST");
    auto device = UIDevice::currentDevice();
    request->setValue(QMFormat("%@/%@ (%@; CPU %@ %@ like Mac OS X)", "iosApp", "5.0", device->model(),
                               device->systemName(), device->systemVersion()),
                      "User-Agent");
    std::string data = QMJSONSerialization::dataWithJSONObject(body);
    request->setValue("application/json", "Content-Type");
    request->setValue(QMFormat("%ld", static_cast<long>(data.size())), "Content-Length");
    request->setHTTPBody(std::move(data));
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
    applySessionResponse(QMJSONSerialization::JSONObjectWithData(connectionData_.value_or("")));
}

void QMVeyraPlugin::applySessionResponse(const std::optional<QMJSON>& response) {
    if (const QMJSON* queueSize = member(response, "logQueueSize")) {
        setLOQ_QUEUE_SIZE(QMJSONIntValue(*queueSize));
        if (const QMJSON* sendLog = member(response, "sendLog")) {
            setIsLogReporter(QMJSONIntValue(*sendLog) != 0);
        }
    }
    QMLogger::info(QMFormat("log queue size:%d", LOQ_QUEUE_SIZE_), "T");

    const QMJSON* interval = member(response, "intervalSeconds");
    INTERVAL_LENGTH = (interval ? QMJSONIntValue(*interval) : 0) / 1000;  // milliseconds on the wire

    if (applyThrottle(response)) {
        return;  // the buffer is kept on the throttled paths
    }

    const QMJSON* sessionId = member(response, "sessionId");
    if (!sessionId || sessionId->is_null()) {
        QMLogger::error("sessionID is null", "X");
        destroy();
    } else {
        acceptSessionId(elementText(*sessionId), response);
    }
    connectionData_.reset();
}

bool QMVeyraPlugin::applyThrottle(const std::optional<QMJSON>& response) {
    const QMJSON* skipReports = member(response, "skipReports");
    const int32_t skip = skipReports ? QMJSONIntValue(*skipReports) : 0;
    if (skip < 1 && skip != -1) {
        return false;
    }
    // The value is appended as received, so only a textual skipReports gets past this line.
    QMLogger::info("skipReports: " + appendableText(*skipReports), "IR");
    if (skip == -1) {
        destroy();
        return true;
    }
    auto self = selfAs<QMVeyraPlugin>();
    QMTimer::scheduledTimerWithTimeInterval(
        static_cast<double>(static_cast<int32_t>(static_cast<int64_t>(skip) * INTERVAL_LENGTH)),
        [self](QMTimer&) { self->onRetryTimeReached(); }, false);
    return true;
}

void QMVeyraPlugin::storeOfferedViewerId(const std::optional<QMJSON>& response) {
    const QMJSON* offered = member(response, "offerViewerId");
    if (!offered || offered->is_null() ||
        (offered->is_string() && offered->get_ref<const std::string&>() == "null")) {
        return;
    }
    auto defaults = QMUserDefaults::standardUserDefaults();
    defaults->setObject(*offered, kViewerIdDefaultsKey);
    defaults->synchronize();
}

void QMVeyraPlugin::acceptSessionId(const std::string& sessionId, const std::optional<QMJSON>& response) {
    storeOfferedViewerId(response);
    setPeriodicalReporter(std::make_shared<QMPeriodicalReporter>());
    setOnDemandReporter(std::make_shared<QMOnDemandReporter>());
    setSessionId(sessionId);

    const QMJSON* skipReports = member(response, "skipReports");
    QMLogger::info("skipReports: " + (skipReports ? elementText(*skipReports) : std::string()) +
                       ", sessionId: '" + sessionId + "'",
                   "IR");
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
