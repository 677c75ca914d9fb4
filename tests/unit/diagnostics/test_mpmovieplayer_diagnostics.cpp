#include <gtest/gtest.h>

#include <limits>

#include "diagnostics/QMMPMoviePlayerPIEHandler.h"
#include "platform/QMURLSession.h"
#include "unit/mpmovieplayer/QMMPMoviePlayerSessionTest.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

namespace {

using Strings = std::vector<std::string>;

// The diagnostic handler of a movie player session made through the facade, on virtual time: the
// session request is answered after 0.5 s and the diagnostic posts with 200.
class MPMoviePlayerDiagnostics : public QMMPMoviePlayerSessionTest {
  protected:
    void SetUp() override {
        QMMPMoviePlayerSessionTest::SetUp();
        answerSession(500);
    }
    void start(MPMovieLoadState loadState = MPMovieLoadStateUnknown) {
        player->setLoadState(loadState);
        monitor(player,
                QMCustomMetadataArray{std::make_shared<QMCustomMetadata>("genre", Strings{"a", "b"})});
    }
    std::shared_ptr<QMMPMoviePlayerPIEHandler> handler() const {
        return std::dynamic_pointer_cast<QMMPMoviePlayerPIEHandler>(
            plugin()->eventManager()->handlers().at(1));
    }
    // Per post "<first index>@<ms after start> <name>|<name>|...": the events of one post are
    // recorded at one time here, and their indexes must follow each other.
    Strings posts() const {
        Strings out;
        for (const auto& request : QMURLStubRegistry::shared().requestsTo("/veyrakit/")) {
            const auto events = QMJSON::parse(*request.body)["events"];
            std::string post = std::to_string(events[0]["index"].get<int64_t>()) + "@" +
                               std::to_string(events[0]["timestamp"].get<int64_t>() - startMillis) + " ";
            for (std::size_t i = 0; i < events.size(); ++i) {
                EXPECT_EQ(events[i]["index"], events[0]["index"].get<int64_t>() + static_cast<int64_t>(i));
                EXPECT_EQ(events[i]["timestamp"], events[0]["timestamp"]);
                post += (i ? "|" : "") + events[i]["name"].get<std::string>();
            }
            out.push_back(post);
        }
        return out;
    }
    static std::shared_ptr<MPMovieAccessLogEvent> accessEntry(const std::string& uri) {
        auto e = std::make_shared<MPMovieAccessLogEvent>();
        e->setURI(uri);
        e->setServerAddress("10.0.0.1");
        e->setPlaybackSessionID("PS-1");
        e->setPlaybackStartDate(QMDate::dateWithTimeIntervalSince1970(1.7e9));
        e->setNumberOfSegmentsDownloaded(3);
        e->setNumberOfBytesTransferred(5'000'000'000);
        return e;
    }

    std::shared_ptr<MPMoviePlayerController> player =
        std::make_shared<MPMoviePlayerController>(QMURL::URLWithString("https://cdn.example/v/index.m3u8"));
};

// The shared fields and the error fields of an empty error log, nothing printed as "(null)".
const std::string kNilErrorLog =
    "URI: (null)\n|Server address: (null)\n|Session ID: (null)\n|Error domain: (null)\n|Error comment: "
    "(null)\n";

}  // namespace

TEST_F(MPMoviePlayerDiagnostics, TheLoadStateAtAttachIsComparedByEqualityAndTheBodyGoesOutAsIs) {
    start(static_cast<MPMovieLoadState>(MPMovieLoadStatePlayable | MPMovieLoadStatePlaythroughOK));
    runFor(3'000);
    EXPECT_TRUE(stubs().requestsTo("/veyrakit/").empty());  // nothing on empty ticks
    EXPECT_EQ(handler()->eventCount(), 1);

    start(MPMovieLoadStateStalled);  // a new session, attached after its session request went out
    runFor(1'000);
    const auto requests = stubs().requestsTo("/veyrakit/");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].url, "http://collector.test:8081/veyrakit/");
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].header("Content-Type"), "application/json");
    const std::string body =
        R"({"session":{"assetId":"A-1","qmrCID":"C-1","assetType":"VOD","assetName":"Name","viewerId":"V-1",)"
        R"("assetMetadata":{"genre":["a","b"]},"viewerMetadata":{}},)"
        R"("events":[{"timestamp":1700000003000,"name":"buffer","index":1}]})";
    EXPECT_EQ(requests[0].body, body);
    QMURLSession::sharedSession()->waitForIdle();
    EXPECT_TRUE(console.contains(body));
    EXPECT_TRUE(console.contains("Status code: 200"));
}

TEST_F(MPMoviePlayerDiagnostics, SharedShadowsAlternateNilStringsAndNaNAlwaysCountAndIndexesRunOn) {
    start(MPMovieLoadStatePlayable);  // "play"
    player->setDuration(30.5);        // no log yet: strings nothing, numbers zero
    runFor(1'000);
    auto entry = accessEntry("https://cdn.example/v/a.ts");
    entry->setIndicatedBitrate(std::numeric_limits<double>::quiet_NaN());
    player->addAccessLogEvent(entry);
    runFor(1'000);  // an empty tick
    player->setFullscreen(true);
    handler()->checkAccessLogChanges();  // right after the error check cleared the shared shadows
    handler()->checkAccessLogChanges();  // unchanged: only the NaN again
    runFor(1'000);

    EXPECT_EQ(
        posts(),
        (Strings{"1@0 play|Duration changed: 30.50\n|URI: (null)\n|Server address: (null)\n|"
                 "Session ID: (null)\n|" +
                     kNilErrorLog,
                 "11@2000 Did enter full screen\n|URI: https://cdn.example/v/a.ts\n|"
                 "Server address: 10.0.0.1\n|Number of server address changes: -1\n|"
                 "Number of network read requests over WWAN: 3\n|Bytes transfered: 5000000000\n|"
                 "Session ID: PS-1\n|Start offset: -1.00\n|Watched duration: -1.00\n|Dropped frames: -1\n|"
                 "Number of stalls: -1\n|Segments download duration: -1.00\n|Indicated bitrate: nan\n|"
                 "Observed bitrate: -1.00\n|" +
                     kNilErrorLog +
                     "|URI: https://cdn.example/v/a.ts\n|Server address: 10.0.0.1\n|Session ID: PS-1\n|"
                     "Indicated bitrate: nan\n|Indicated bitrate: nan\n"}));

    // A new error-log entry: the error check records what differs (its date is only kept).
    auto error = std::make_shared<MPMovieErrorLogEvent>();
    error->setURI("https://cdn.example/v/b.ts");
    error->setServerAddress("10.0.0.1");
    error->setPlaybackSessionID("PS-1");
    error->setDate(QMDate::dateWithTimeIntervalSince1970(1.7e9));
    error->setErrorStatusCode(404);
    error->setErrorDomain("CoreMediaErrorDomain");
    player->addErrorLogEvent(error);
    player->setFullscreen(false);
    runFor(1'000);
    EXPECT_EQ(posts().back(),
              "35@3000 Did exit full screen\n|Indicated bitrate: nan\n|URI: https://cdn.example/v/b.ts\n|"
              "Error status code: 404\n|Error domain: CoreMediaErrorDomain\n|Error comment: (null)\n");

    // Detached: reset, unobserved, no timer of its own; what is logged now is lost. Attached
    // again: indexes from 1 and the session description now with the session id.
    const auto observers = QMNotificationCenter::defaultCenter()->observerCount();
    const auto timers = loop->timerCount();
    handler()->detachHandlers();
    EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), observers - 13);
    EXPECT_EQ(loop->timerCount(), timers - 1);
    EXPECT_EQ(handler()->session(), std::nullopt);
    handler()->log("lost");
    handler()->attachHandlers();
    EXPECT_EQ(handler()->session()->value("sessionId", ""), "S-1");
    player->setReadyForDisplay(true);
    runFor(1'000);
    EXPECT_EQ(posts().back().substr(0, 36), "1@4000 play|Ready for display\n|URI: ");
}

TEST_F(MPMoviePlayerDiagnostics, EveryNotificationRecordsItsTextWithTheKeptSpellings) {
    // Logs that agree on the shared fields: after the first check nothing but the texts.
    auto entry = accessEntry("https://cdn.example/v/a.ts");
    player->addAccessLogEvent(entry);
    auto error = std::make_shared<MPMovieErrorLogEvent>();
    error->setURI(entry->URI());
    error->setServerAddress(entry->serverAddress());
    error->setPlaybackSessionID(entry->playbackSessionID());
    error->setErrorDomain("D");
    error->setErrorComment("C");
    player->addErrorLogEvent(error);
    start();
    player->setNaturalSize(CGSizeMake(640, 360));
    runFor(1'000);
    const auto h = handler();
    player->setMovieMediaTypes(static_cast<MPMovieMediaTypeMask>(3));
    player->setAirPlayVideoActive(true);
    player->setAirPlayVideoActive(false);
    for (auto state : {1, 2, 4, 3, 0}) {
        player->setLoadState(static_cast<MPMovieLoadState>(state));
    }
    player->setContentURL(QMURL::URLWithString("https://cdn.example/w/index.m3u8"));
    for (auto state : {2, 3, 4, 5, 0}) {
        player->setPlaybackState(static_cast<MPMoviePlaybackState>(state));
    }
    for (auto mode : {0, 2, 3, 1}) {
        player->setScalingMode(static_cast<MPMovieScalingMode>(mode));
    }
    for (auto type : {1, 2, 0}) {
        player->setMovieSourceType(static_cast<MPMovieSourceType>(type));
    }
    player->setReadyForDisplay(true);
    player->setReadyForDisplay(false);
    // A finish of the player ends the session before this handler hears it; the texts by reason
    // (no reason reads as 0, an unknown one records nothing):
    for (auto reason : {0L, 1L, 2L, 7L}) {
        h->playbackDidFinish(QMNotification(MPMoviePlayerPlaybackDidFinishNotification, player,
                                            {{MPMoviePlayerPlaybackDidFinishReasonUserInfoKey, reason}}));
    }
    h->playbackDidFinish(QMNotification(MPMoviePlayerPlaybackDidFinishNotification, player, {}));
    runFor(1'000);
    EXPECT_EQ(
        posts(),
        (Strings{"1@0 Natural size changed: 640.00x360.00\n|URI: https://cdn.example/v/a.ts\n|"
                 "Server address: 10.0.0.1\n|Number of server address changes: -1\n|"
                 "Number of network read requests over WWAN: 3\n|Bytes transfered: 5000000000\n|"
                 "Session ID: PS-1\n|Start offset: -1.00\n|Watched duration: -1.00\n|Dropped frames: -1\n|"
                 "Number of stalls: -1\n|Segments download duration: -1.00\n|Indicated bitrate: -1.00\n|"
                 "Observed bitrate: -1.00\n|Error domain: D\n|Error comment: C\n",
                 "17@1000 Media type is audio\n|Media type is video\n|Started playing via air play\n|"
                 "Stopped playing via air play\n|Load state changed to Playable\n|"
                 "Load state changed to Playthrough OK\n|Load state changed to Stalled\n|"
                 "Load state changed to Unknown\n|Content URL changed: https://cdn.example/w/index.m3u8\n|"
                 "Playback state channged to Paused\n|Playback state channged to Interrupted\n|"
                 "Playback state channged to Seeking Forward\n|Playback state channged to Seeking Backward\n|"
                 "Playback state channged to Stopped\n|Scaling mode changed to None\n|"
                 "Scaling mode changed to Aspect Fill\n|Scaling mode changed to Fill\n|"
                 "Scaling mode changed to Aspect Fit\n|Source type changed to File\n|"
                 "Source type changed to Streaming\n|Source type changed to Unkown\n|Ready for display\n|"
                 "Not ready for display\n|Playback did finish\n|Playback did finish with error\n|"
                 "Playback did finish by user\n|Playback did finish\n"}));
}

}  // namespace veyrakit
