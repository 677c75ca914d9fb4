#pragma once
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/QMJSON.h"
#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// The session start exchange as plain values: the request body, the User-Agent, the stored-viewer
// data and the init log line the plugin sends, and the reading of the server's answer. Nothing
// here connects, logs, stores or schedules; the plugin does that with what these return.
class QMSessionStartProtocol {
  public:
    // The plugin's fields that go into the request and its init log line.
    struct Fields {
        std::optional<std::string> mediaUrl{};  // the playback URL's absolute string
        std::optional<std::string> streamType{};
        std::optional<std::string> assetId{};
        std::optional<std::string> qmrCID{};
        std::optional<std::string> assetType{};
        std::optional<std::string> assetName{};
        std::optional<std::string> viewerId{};
        std::optional<QMJSON> assetMetadata{};   // [{"key": ..., "values": [...]}]
        std::optional<QMJSON> viewerMetadata{};  // same form
        QMJSON uniqueViewerData{};
    };

    // What the plugin applies from the server's answer. A key that is absent (or an answer that
    // did not parse into an object) reads as the defaults below.
    struct Answer {
        std::optional<int32_t> logQueueSize;     // "logQueueSize" as an integer, when the key is there
        std::optional<bool> sendLog;             // "sendLog", read only when "logQueueSize" is there
        int32_t intervalLength = 0;              // "intervalSeconds" (milliseconds) / 1000, in seconds
        int32_t skipReports = 0;                 // "skipReports" as an integer
        std::optional<QMJSON> skipReportsValue;  // "skipReports" as received, for the log lines
        std::optional<std::string> sessionId;    // absent or JSON null: none
        std::optional<QMJSON> offeredViewerId;   // "offerViewerId" unless null or "null"
    };

    // The longest offered viewer id the plugin stores, in bytes of its compact JSON text (a
    // string's quotes included): 1 KiB. A viewer id is a short string; a longer value is the
    // server's fault, and storing it would let an answer grow the user defaults file.
    static constexpr std::size_t kMaximumStoredViewerIdLength = 1024;

    // What the answer's "skipReports" asks for.
    enum class Throttle { Proceed, RetryLater, ShutDown };

    static std::string initURLString(const std::string& serverHost);  // "%@/player/init"

    // "iosApp/5.0 (<model>; CPU <system name> <system version> like Mac OS X)".
    static std::string userAgent(const std::string& model, const std::string& systemName,
                                 const std::string& systemVersion);

    // Absent, or matching "^[\s]*$": a mandatory field that stops the exchange.
    static bool isBlank(const std::optional<std::string>& value);

    // The device's identity as sent: with a stored id (not empty) the id itself, not wrapped in an
    // array, then the cookie flag "true" in an array; without one only the flag "false".
    static QMJSON uniqueViewerData(const std::optional<QMJSON>& storedViewerId);

    // The request body, keys in wire order, absent values left out. assetId and qmrCID must be
    // present (the plugin checks them with isBlank first).
    static QMJSON requestBody(const Fields& fields);

    // "URL: '...', ST: '...', ... " with the metadata blocks. Without a media URL it throws
    // QMInvalidArgumentException, with the message the facade's error line carries: a player that
    // is not loaded from a URL gets no session.
    static std::string initLog(const Fields& fields,
                               const std::optional<std::map<std::string, std::string>>& pluginMetadata);

    // Reads the answer body; a body that does not parse reads as an empty answer.
    static Answer readAnswer(const std::string& body);

    static Throttle throttleOf(int32_t skipReports);

    // nullopt when the plugin may store `offered`; otherwise the error line it logs instead of
    // storing it: "Offered viewer id not stored: <n> bytes, over the bound of 1024".
    static std::optional<std::string> viewerIdRefusal(const QMJSON& offered);

    // One-shot retry delay: skipReports intervals, the product truncated to 32 bits.
    static double retryDelaySeconds(int32_t skipReports, int32_t intervalLength);

    // "skipReports: " and the value appended as received: only a JSON string can be appended, so
    // a numeric throttle throws QMInvalidArgumentException here, before the retry or shut-down.
    static std::string throttleLogLine(const Answer& answer);

    // "skipReports: <value as text, empty when absent>, sessionId: '<id>'".
    static std::string sessionLogLine(const Answer& answer);
};

}  // namespace veyrakit
