#include "core/QMSessionStartProtocol.h"

#include "platform/QMException.h"
#include "platform/QMFormat.h"
#include "platform/QMRegularExpression.h"

namespace veyrakit {

namespace {

const QMJSON* member(const std::optional<QMJSON>& object, const std::string& key) {
    if (!object || !object->is_object()) {
        return nullptr;
    }
    auto it = object->find(key);
    return it == object->end() ? nullptr : &*it;
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

std::string QMSessionStartProtocol::initURLString(const std::string& serverHost) {
    return QMFormat("%@/player/init", serverHost);
}

std::string QMSessionStartProtocol::userAgent(const std::string& model, const std::string& systemName,
                                              const std::string& systemVersion) {
    return QMFormat("%@/%@ (%@; CPU %@ %@ like Mac OS X)", "iosApp", "5.0", model, systemName, systemVersion);
}

bool QMSessionStartProtocol::isBlank(const std::optional<std::string>& value) {
    if (!value) {
        return true;
    }
    auto pattern =
        QMRegularExpression::regularExpressionWithPattern("^[\\s]*$", NSRegularExpressionCaseInsensitive);
    return pattern && pattern->numberOfMatchesInString(*value) > 0;
}

QMJSON QMSessionStartProtocol::uniqueViewerData(const std::optional<QMJSON>& storedViewerId) {
    const bool present =
        storedViewerId && !storedViewerId->is_null() &&
        !(storedViewerId->is_string() && storedViewerId->get_ref<const std::string&>().empty());
    if (!present) {
        return QMJSON::array({QMJSON{{"key", "viewerIdInCookie"}, {"values", QMJSON::array({"false"})}}});
    }
    // The stored id goes out bare, the cookie flag as an array: the server expects both forms.
    return QMJSON::array({QMJSON{{"key", "viewerId"}, {"values", *storedViewerId}},
                          QMJSON{{"key", "viewerIdInCookie"}, {"values", QMJSON::array({"true"})}}});
}

QMJSON QMSessionStartProtocol::requestBody(const Fields& fields) {
    QMJSON body = QMJSON::object();
    body["assetId"] = fields.assetId.value();
    body["qmrCID"] = fields.qmrCID.value();
    if (fields.assetName) {
        body["assetName"] = *fields.assetName;
    }
    if (fields.viewerId) {
        body["viewerId"] = *fields.viewerId;
    }
    body["protocolVersion"] = "1.1";
    if (fields.mediaUrl) {
        body["mediaUrl"] = *fields.mediaUrl;
    }
    if (fields.streamType) {
        body["streamType"] = *fields.streamType;
    }
    if (fields.assetType) {
        body["assetType"] = *fields.assetType;
    }
    if (fields.assetMetadata) {
        body["assetMetadata"] = *fields.assetMetadata;
    }
    if (fields.viewerMetadata) {
        body["viewerMetadata"] = *fields.viewerMetadata;
    }
    body["uniqueViewerData"] = fields.uniqueViewerData;
    return body;
}

std::string QMSessionStartProtocol::initLog(
    const Fields& fields, const std::optional<std::map<std::string, std::string>>& pluginMetadata) {
    if (!fields.mediaUrl) {
        throw QMInvalidArgumentException("*** -[NSMutableString appendString:]: nil argument");
    }
    std::string log = "URL: '" + *fields.mediaUrl;
    log += "', ST: '" + fields.streamType.value_or("");
    log += "', AID: '" + fields.assetId.value_or("");
    log += "', VID: '" + fields.viewerId.value_or("");
    log += "', CID: '" + fields.qmrCID.value_or("");
    log += "', AT: '" + fields.assetType.value_or("");
    log += "', AN: '" + fields.assetName.value_or("");
    log += "', ";
    if (fields.assetMetadata) {
        appendMetadataBlock(log, "AMT", *fields.assetMetadata);
    }
    if (fields.viewerMetadata) {
        appendMetadataBlock(log, "VMT", *fields.viewerMetadata);
    }
    if (pluginMetadata) {
        log += "PMT: {";
        for (const auto& [key, value] : *pluginMetadata) {
            log += key + ": '" + value + "', ";
        }
        log += "]}, ";
    }
    return log;
}

QMSessionStartProtocol::Answer QMSessionStartProtocol::readAnswer(const std::string& body) {
    const std::optional<QMJSON> response = QMJSONSerialization::JSONObjectWithData(body);
    Answer answer;
    if (const QMJSON* queueSize = member(response, "logQueueSize")) {
        answer.logQueueSize = QMJSONIntValue(*queueSize);
        if (const QMJSON* sendLog = member(response, "sendLog")) {
            answer.sendLog = QMJSONIntValue(*sendLog) != 0;
        }
    }
    const QMJSON* interval = member(response, "intervalSeconds");
    answer.intervalLength = (interval ? QMJSONIntValue(*interval) : 0) / 1000;  // milliseconds on the wire
    if (const QMJSON* skipReports = member(response, "skipReports")) {
        answer.skipReports = QMJSONIntValue(*skipReports);
        answer.skipReportsValue = *skipReports;
    }
    const QMJSON* sessionId = member(response, "sessionId");
    if (sessionId && !sessionId->is_null()) {
        answer.sessionId = elementText(*sessionId);
    }
    const QMJSON* offered = member(response, "offerViewerId");
    if (offered && !offered->is_null() &&
        !(offered->is_string() && offered->get_ref<const std::string&>() == "null")) {
        answer.offeredViewerId = *offered;
    }
    return answer;
}

QMSessionStartProtocol::Throttle QMSessionStartProtocol::throttleOf(int32_t skipReports) {
    if (skipReports == -1) {
        return Throttle::ShutDown;
    }
    return skipReports >= 1 ? Throttle::RetryLater : Throttle::Proceed;
}

std::optional<std::string> QMSessionStartProtocol::viewerIdRefusal(const QMJSON& offered) {
    const std::size_t length = QMJSONSerialization::dataWithJSONObject(offered).size();
    if (length <= kMaximumStoredViewerIdLength) {
        return std::nullopt;
    }
    return QMFormat("Offered viewer id not stored: %lu bytes, over the bound of %lu", length,
                    kMaximumStoredViewerIdLength);
}

double QMSessionStartProtocol::retryDelaySeconds(int32_t skipReports, int32_t intervalLength) {
    return static_cast<double>(static_cast<int32_t>(static_cast<int64_t>(skipReports) * intervalLength));
}

std::string QMSessionStartProtocol::throttleLogLine(const Answer& answer) {
    if (!answer.skipReportsValue) {
        throw QMInvalidArgumentException("*** -[NSMutableString appendString:]: nil argument");
    }
    const QMJSON& value = *answer.skipReportsValue;
    if (!value.is_string()) {
        throw QMInvalidArgumentException(
            QMFormat("-[NSMutableString appendString:]: argument is not a string: %@", value));
    }
    return "skipReports: " + value.get<std::string>();
}

std::string QMSessionStartProtocol::sessionLogLine(const Answer& answer) {
    const std::string skipReports = answer.skipReportsValue ? elementText(*answer.skipReportsValue) : "";
    return "skipReports: " + skipReports + ", sessionId: '" + answer.sessionId.value_or("") + "'";
}

}  // namespace veyrakit
