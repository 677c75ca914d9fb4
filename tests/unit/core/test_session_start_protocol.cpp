#include <gtest/gtest.h>

#include <climits>

#include "core/QMSessionStartProtocol.h"
#include "platform/QMException.h"

namespace veyrakit {

using Protocol = QMSessionStartProtocol;

namespace {

// The answer as one line, so a case states every value it reads.
std::string summary(const Protocol::Answer& a) {
    auto text = [](const auto& value) { return value ? std::to_string(*value) : std::string("-"); };
    return "queue=" + text(a.logQueueSize) + " sendLog=" + text(a.sendLog) +
           " interval=" + std::to_string(a.intervalLength) + " skip=" + std::to_string(a.skipReports) +
           " skipValue=" + (a.skipReportsValue ? a.skipReportsValue->dump() : "-") +
           " session=" + a.sessionId.value_or("-") +
           " offered=" + (a.offeredViewerId ? a.offeredViewerId->dump() : "-");
}

}  // namespace

TEST(QMSessionStartProtocolTest, AnswerReadsAbsentWrongTypedAndNumericStringValues) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        // Nothing readable: every key absent.
        {"", "queue=- sendLog=- interval=0 skip=0 skipValue=- session=- offered=-"},
        {"{\"sessionId\":", "queue=- sendLog=- interval=0 skip=0 skipValue=- session=- offered=-"},
        {R"([{"sessionId":"S"}])", "queue=- sendLog=- interval=0 skip=0 skipValue=- session=- offered=-"},
        // Numeric strings read by their leading integer; a textual "true" is 0; a number as id is text.
        {R"({"logQueueSize":" 7x","sendLog":"true","intervalSeconds":"-1999","skipReports":"2",)"
         R"("sessionId":42,"offerViewerId":"null"})",
         R"(queue=7 sendLog=0 interval=-1 skip=2 skipValue="2" session=42 offered=-)"},
        // "sendLog" without "logQueueSize" is not read; fractions truncate; null id is no id.
        {R"({"sendLog":true,"intervalSeconds":9999.9,"skipReports":-1,"sessionId":null,"offerViewerId":null})",
         "queue=- sendLog=- interval=9 skip=-1 skipValue=-1 session=- offered=-"},
        // A null queue size is present (0) and opens "sendLog"; an offered id keeps its JSON type.
        {R"({"logQueueSize":null,"sendLog":2,"intervalSeconds":10000,"skipReports":null,"sessionId":"S",)"
         R"("offerViewerId":123})",
         "queue=0 sendLog=1 interval=10 skip=0 skipValue=null session=S offered=123"},
    };
    for (const auto& [body, expected] : cases) {
        EXPECT_EQ(summary(Protocol::readAnswer(body)), expected) << body;
    }
}

TEST(QMSessionStartProtocolTest, ThrottleDecisionDelayAndTheAsymmetricLogLines) {
    EXPECT_EQ(Protocol::throttleOf(-2), Protocol::Throttle::Proceed);
    EXPECT_EQ(Protocol::throttleOf(-1), Protocol::Throttle::ShutDown);
    EXPECT_EQ(Protocol::throttleOf(0), Protocol::Throttle::Proceed);
    EXPECT_EQ(Protocol::throttleOf(1), Protocol::Throttle::RetryLater);
    EXPECT_EQ(Protocol::retryDelaySeconds(2, 10), 20.0);
    EXPECT_EQ(Protocol::retryDelaySeconds(INT32_MAX, 2), -2.0);  // the product is cut to 32 bits

    // The throttled line appends the value as received: only a JSON string gets through.
    EXPECT_EQ(Protocol::throttleLogLine(Protocol::readAnswer(R"({"skipReports":"-1"})")), "skipReports: -1");
    try {
        Protocol::throttleLogLine(Protocol::readAnswer(R"({"skipReports":2})"));
        ADD_FAILURE() << "a numeric skipReports was appended";
    } catch (const QMInvalidArgumentException& e) {
        EXPECT_STREQ(e.what(), "-[NSMutableString appendString:]: argument is not a string: 2");
    }
    // The continuing line writes any value as text, and nothing when it is absent.
    EXPECT_EQ(Protocol::sessionLogLine(Protocol::readAnswer(R"({"skipReports":0,"sessionId":"S"})")),
              "skipReports: 0, sessionId: 'S'");
    EXPECT_EQ(Protocol::sessionLogLine(Protocol::readAnswer(R"({"sessionId":"S"})")),
              "skipReports: , sessionId: 'S'");
}

TEST(QMSessionStartProtocolTest, RequestBodyUserAgentAndBlankFields) {
    Protocol::Fields fields{.mediaUrl = "https://cdn.example/v.mpd",
                            .streamType = "MPEG_DASH",
                            .assetId = "A",
                            .qmrCID = "C",
                            .assetType = "VOD",
                            .assetName = "N",
                            .viewerId = "V",
                            .assetMetadata = QMJSON::parse(R"([{"key":"k","values":["v"]}])"),
                            .viewerMetadata = QMJSON::array(),
                            .uniqueViewerData = Protocol::uniqueViewerData(QMJSON("V-9"))};
    EXPECT_EQ(
        Protocol::requestBody(fields).dump(),
        R"({"assetId":"A","qmrCID":"C","assetName":"N","viewerId":"V","protocolVersion":"1.1",)"
        R"("mediaUrl":"https://cdn.example/v.mpd","streamType":"MPEG_DASH","assetType":"VOD",)"
        R"("assetMetadata":[{"key":"k","values":["v"]}],"viewerMetadata":[],)"
        R"("uniqueViewerData":[{"key":"viewerId","values":"V-9"},{"key":"viewerIdInCookie","values":["true"]}]})");

    const std::string noStoredId = R"({"assetId":"A","qmrCID":"C","protocolVersion":"1.1",)"
                                   R"("uniqueViewerData":[{"key":"viewerIdInCookie","values":["false"]}]})";
    for (const auto& stored :
         {std::optional<QMJSON>(), std::optional<QMJSON>(""), std::optional<QMJSON>(nullptr)}) {
        EXPECT_EQ(Protocol::requestBody(
                      {.assetId = "A", .qmrCID = "C", .uniqueViewerData = Protocol::uniqueViewerData(stored)})
                      .dump(),
                  noStoredId);
    }

    EXPECT_EQ(Protocol::userAgent("iPad", "iPadOS", "17.2"),
              "iosApp/5.0 (iPad; CPU iPadOS 17.2 like Mac OS X)");
    EXPECT_EQ(Protocol::initURLString("https://h.example"), "https://h.example/player/init");
    EXPECT_TRUE(Protocol::isBlank(std::nullopt));
    EXPECT_TRUE(Protocol::isBlank(""));
    EXPECT_TRUE(Protocol::isBlank(" \t\n"));
    EXPECT_FALSE(Protocol::isBlank(" a "));
}

}  // namespace veyrakit
