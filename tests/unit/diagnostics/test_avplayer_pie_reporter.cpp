#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <string>
#include <vector>

#include "core/QMObjectRepository.h"
#include "diagnostics/QMAVPlayerPIEReporter.h"
#include "facade/QMMonitoringSessions.h"
#include "platform/QMFileManager.h"
#include "platform/QMRegularExpression.h"
#include "platform/QMURLSession.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "support/QMTestEnvironment.h"
#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/platform/avfoundation/AVURLAsset.h"

namespace veyrakit {

namespace {

const char* const kMaster = "https://cdn.example/v/master.m3u8";
const char* const kEvents = "http://collector.test:8082/sessionEventsHandler/sessions";

class QMAVPlayerPIEReporterTest : public QMVirtualTimeTest {
  protected:
    void TearDown() override {
        // Its timer keeps a reporter running until it is stopped.
        if (reporter) {
            reporter->stopPlayback();
        }
        reporter.reset();
        QMVirtualTimeTest::TearDown();
    }
    void start() {
        reporter = std::make_shared<QMAVPlayerPIEReporter>()->initWithPlayer(
            player, "A-1", "C-1", std::nullopt, "Name", "V-1",
            QMJSON::parse(R"([{"key":"k","values":["v"]}])"), std::nullopt);
        reporter->setSessionEventsURL(kEvents);
    }
    // Runs the loop for `ms`, then lets the URL session's worker finish what it was handed.
    void settle(int64_t ms) {
        runFor(ms);
        QMURLSession::sharedSession()->waitForIdle();
    }
    std::vector<QMRecordedRequest> posts() const {
        return QMURLStubRegistry::shared().requestsTo("/sessions");
    }
    // The events of every post, as "<index>@<ms after start> <name> <info>".
    std::vector<std::string> postedEvents() const {
        std::vector<std::string> out;
        for (const auto& post : posts()) {
            const QMJSON body = QMJSON::parse(post.body.value());
            for (const auto& e : body["events"]) {
                out.push_back(std::to_string(e["index"].get<int64_t>()) + "@" +
                              std::to_string(e["timestamp"].get<int64_t>() - startMillis) + " " +
                              e["name"].get<std::string>() +
                              (e.contains("info") ? " " + e["info"].dump() : ""));
            }
        }
        return out;
    }

    std::shared_ptr<AVPlayerItem> item = AVPlayerItem::playerItemWithURL(QMURL::URLWithString(kMaster));
    std::shared_ptr<AVPlayer> player = AVPlayer::playerWithPlayerItem(item);
    std::shared_ptr<QMAVPlayerPIEReporter> reporter;
};

}  // namespace

TEST_F(QMAVPlayerPIEReporterTest, EventsWaitForTheSessionIdThenGoOutEverySecondAndAFailedPostLosesItsOwn) {
    stubs().addStub(
        QMURLStubRegistry::urlEndsWith("/master.m3u8", "GET"),
        QMStubResponse::json("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1280000,RESOLUTION=640x360\nlow.m3u8\n"));
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/sessions", "POST"), QMStubResponse::json("{}"), 2);
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/sessions", "POST"), QMStubResponse::fail(), 1);
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/sessions", "POST"), QMStubResponse::json("{}"));
    start();
    settle(0);
    item->setDuration(kCMTimeIndefinite);  // a live stream's: no event
    item->setStatus(AVPlayerItemStatusReadyToPlay);
    item->setDuration(CMTimeMake(40, 1));
    item->setPresentationSize(CGSizeMake(640, 360));
    item->setPlaybackBufferEmpty(false);
    item->setPlaybackLikelyToKeepUp(true);
    player->play();
    player->setStatus(AVPlayerStatusReadyToPlay);
    settle(2000);
    EXPECT_TRUE(posts().empty());
    reporter->setSessionId("S-1");
    settle(1000);  // the first tick after the id posts everything
    player->pause();
    settle(2000);  // the pause goes out alone (the position stands still); then nothing is posted
    item->postPlaybackStalled();
    settle(1000);  // this post fails
    item->setError(QMError::errorWithDomain("AVFoundationErrorDomain", -11800, "boom"));
    item->setStatus(AVPlayerItemStatusFailed);
    item->postDidPlayToEndTime();
    settle(1000);

    EXPECT_EQ(postedEvents(),
              (std::vector<std::string>{
                  "1@0 init", "2@0 playbackBufferEmpty", R"(3@0 availableBitrates {"bitrates":[1280000]})",
                  R"(4@0 availableResolutions {"resolutions":[{"width":640,"height":360}]})",
                  R"(5@0 status {"status":"readyToPlay"})", R"(6@0 duration {"duration":40})",
                  R"(7@0 presentationSize {"width":640,"height":360})", "8@0 playbackBufferNotEmpty",
                  "9@0 playbackLikelyToKeepUp", R"(10@0 rate {"rate":1})",
                  R"(11@0 playerStatus {"status":"readyToPlay"})",
                  R"(12@1000 playbackPosition {"position":1})", R"(13@2000 playbackPosition {"position":2})",
                  R"(14@3000 playbackPosition {"position":3})", R"(15@3000 rate {"rate":0})",
                  // 16 went out in the post that failed; the index runs on
                  "16@5000 playbackStalled", R"(17@6000 status {"status":"failed","reason":"boom"})",
                  "18@6000 didPlayToEndTime"}));
    const auto all = posts();
    std::vector<int64_t> times;
    for (const auto& post : all) {
        times.push_back(post.timeMillis - startMillis);
    }
    EXPECT_EQ(times, (std::vector<int64_t>{3000, 4000, 6000, 7000}));
    EXPECT_EQ(all[0].url, kEvents);
    EXPECT_EQ(all[0].method, "POST");
    EXPECT_EQ(all[0].header("Content-Type"), "application/json");
    const QMJSON first = QMJSON::parse(all[0].body.value());
    const std::string temporaryId = reporter->session()["temporarySessionId"];
    const auto uuid = "^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$";
    EXPECT_EQ(
        QMRegularExpression::regularExpressionWithPattern(uuid, 0)->numberOfMatchesInString(temporaryId), 1u);
    EXPECT_EQ(
        first["session"].dump(),
        R"({"assetId":"A-1","qmrCID":"C-1","assetName":"Name","viewerId":"V-1","assetMetadata":[{"key":"k","values":["v"]}],"temporarySessionId":")" +
            temporaryId + R"(","playbackURL":"https://cdn.example/v/master.m3u8","sessionId":"S-1"})");
    EXPECT_EQ(all[0].body, QMJSONSerialization::prettyDataWithJSONObject(first));
    EXPECT_TRUE(console.contains(*all[0].body));
    EXPECT_TRUE(console.contains("Error: Could not connect to the server."));
    // The session description keeps no session id of its own.
    EXPECT_FALSE(reporter->session().contains("sessionId"));
}

TEST_F(QMAVPlayerPIEReporterTest, LogEntriesAreTracedToAnOwnerOnlyFileNamedByTheTemporaryId) {
    start();
    const std::string path =
        tempDir() + "/Documents/" + reporter->session()["temporarySessionId"].get<std::string>();
    EXPECT_TRUE(console.contains("FileLogger path: " + path));
    settle(0);
    runFor(500);
    auto entry = std::make_shared<AVPlayerItemAccessLogEvent>();
    entry->setURI("https://cdn.example/v/low/seg1.ts");
    entry->setServerAddress("10.0.0.1");
    item->addAccessLogEvent(entry);
    auto failure = std::make_shared<AVPlayerItemErrorLogEvent>();
    failure->setURI("https://cdn.example/v/low/seg1.ts");
    failure->setServerAddress("10.0.0.1");
    failure->setDate(QMDate::dateWithTimeIntervalSince1970(1'700'000'000.75));
    failure->setErrorStatusCode(503);
    failure->setErrorDomain("CoreMediaErrorDomain");
    failure->setErrorComment("Service Unavailable");
    item->addErrorLogEvent(failure);
    reporter->setSessionId("S-1");
    settle(500);

    const std::string at = "[" + std::to_string(startMillis + 500) + "]: ";
    const std::string trace = QMFileManager::defaultManager()->contentsAtPath(path).value();
    const std::string opening = at + "Access log URI: https://cdn.example/v/low/seg1.ts\n" + at +
                                "Access log server address: 10.0.0.1\n" + at +
                                "Access log number of server address changes: -1\n";
    EXPECT_EQ(trace.substr(0, opening.size()), opening);
    EXPECT_NE(trace.find(at + "Access log number of bytes transfered: -1\n"), std::string::npos);
    EXPECT_EQ(trace.substr(trace.find(at + "Error log date")),
              at + "Error log date: 1700000000000\n" + at + "Error log status code: 503\n" + at +
                  "Error log domain: CoreMediaErrorDomain\n" + at +
                  "Error log comment: Service Unavailable\n");
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    // Without a playlist stub the fetch fails: no bitrates, no resolutions.
    const auto events = postedEvents();
    EXPECT_EQ(events[2], R"(3@0 availableBitrates {"bitrates":[]})");
    EXPECT_EQ(events[3], R"(4@500 mediaRequestsWWAN {"requests":-1})");
    EXPECT_EQ(events.back(), R"(22@1000 playbackPosition {"position":0})");
}

TEST_F(QMAVPlayerPIEReporterTest, ThePlaylistFetchDoesNotKeepTheReporterAndAnItemWithoutURLIsNotFetched) {
    QMStubResponse slow = QMStubResponse::json("BANDWIDTH=1,\n");
    slow.delayMillis = 1000;
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/master.m3u8"), slow);
    start();
    std::weak_ptr<QMAVPlayerPIEReporter> gone = reporter;
    const auto queue = reporter->events();
    reporter->stopPlayback();
    reporter.reset();
    EXPECT_TRUE(gone.expired());
    EXPECT_EQ(item->observationCount(), 0u);
    settle(1000);
    EXPECT_EQ(queue->takeAll().back()["name"], "availableBitrates");

    player->replaceCurrentItemWithPlayerItem(AVPlayerItem::playerItemWithAsset(std::make_shared<AVAsset>()));
    start();
    EXPECT_FALSE(reporter->session().contains("playbackURL"));
    settle(0);
    EXPECT_EQ(stubs().requestsTo("/master.m3u8").size(), 1u);
}

// The reporter's timer keeps it, as a platform timer keeps its target: the plugin's tear-down
// leaves it observing and posting, and only the stop (which still reaches it) ends it.
TEST_F(QMAVPlayerPIEReporterTest, TheTearDownLeavesTheReporterRunningAndOnlyTheStopEndsIt) {
    QMStubResponse session = QMStubResponse::json(R"({"sessionId":"S-1","intervalSeconds":10000})");
    session.delayMillis = 500;
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"), session, 1);
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/report"), QMStubResponse::json("{}"));
    auto plugin =
        QMAVPlayerVeyraPlugin::pluginWithParams(player, "A-1", std::nullopt, "C-1", std::nullopt, "Name",
                                                std::nullopt, std::nullopt, std::nullopt, std::nullopt);
    std::weak_ptr<QMAVPlayerPIEReporter> pie = plugin->pieReporter();
    EXPECT_EQ(pie.lock()->session().dump().find("assetType"), std::string::npos);
    settle(1000);
    plugin->dispose();
    EXPECT_EQ(plugin->pieReporter(), pie.lock());
    EXPECT_EQ(player->observationCount(), 2u);  // the reporter's "rate" and "status"
    item->postPlaybackStalled();
    settle(1000);
    plugin->stopPlayback();       // posted at once; no tick follows
    item->postPlaybackStalled();  // no longer observed
    settle(3000);
    QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
    plugin.reset();
    EXPECT_TRUE(pie.expired());
    const auto sent = posts();
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[0].url, "http://collector.veyrakit.invalid:8082/sessionEventsHandler/sessions");
    EXPECT_EQ(QMJSON::parse(sent[0].body.value())["session"]["sessionId"], "S-1");
    EXPECT_EQ(sent[1].timeMillis - startMillis, 2000);
    EXPECT_EQ(sent[2].timeMillis - startMillis, 2000);
    const auto events = postedEvents();
    EXPECT_EQ(std::vector<std::string>(events.end() - 2, events.end()),
              (std::vector<std::string>{"5@1000 playbackStalled", "6@2000 stopPlayback"}));
    EXPECT_EQ(player->observationCount(), 0u);
    EXPECT_EQ(item->observationCount(), 0u);
    EXPECT_EQ(QMRunLoop::mainRunLoop()->timerCount(), 0u);
}

// The host's stop reaches only the current plugin: the reporter of a plugin that a newer one
// replaced runs on, observing its player and posting under its own temporary id.
TEST_F(QMAVPlayerPIEReporterTest, AReplacedPluginsReporterRunsOnOutOfTheHostsReach) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"),
                    QMStubResponse::json(R"({"sessionId":"S-1","intervalSeconds":10000})"), 1);
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"),
                    QMStubResponse::json(R"({"sessionId":"S-2","intervalSeconds":10000})"), 1);
    auto newer =
        AVPlayer::playerWithPlayerItem(AVPlayerItem::playerItemWithURL(QMURL::URLWithString(kMaster)));
    QMVeyraKit::pluginWithAVPlayer(player, "A-1", "C-1", std::nullopt, "Name", std::nullopt, std::nullopt,
                                   std::nullopt);
    std::weak_ptr<QMAVPlayerPIEReporter> first = QMMonitoringSessions::currentAVPlayerMonitoringSession()
                                                     ->template selfAs<QMAVPlayerVeyraPlugin>()
                                                     ->pieReporter();
    settle(0);
    QMVeyraKit::pluginWithAVPlayer(newer, "A-2", "C-1", std::nullopt, "Name", std::nullopt, std::nullopt,
                                   std::nullopt);
    settle(0);
    QMVeyraKit::stopPlayback();
    ASSERT_FALSE(first.expired());
    EXPECT_TRUE(first.lock()->timer()->isValid());
    const std::string temporaryId = first.lock()->session()["temporarySessionId"];
    const std::size_t before = posts().size();
    item->postPlaybackStalled();
    settle(1000);
    const auto sent = posts();
    ASSERT_EQ(sent.size(), before + 1);
    const QMJSON last = QMJSON::parse(sent.back().body.value());
    EXPECT_EQ(last["session"]["temporarySessionId"], temporaryId);
    EXPECT_EQ(last["session"]["sessionId"], "S-1");
    const QMJSON& events = last["events"];
    ASSERT_GE(events.size(), 2u);
    EXPECT_EQ(events[events.size() - 2]["name"], "playbackStalled");
    EXPECT_EQ(events.back()["name"], "playbackPosition");
    EXPECT_EQ(player->observationCount(), 2u);  // the first reporter's "rate" and "status"
    EXPECT_EQ(newer->observationCount(), 1u);   // the newer plugin's own "rate" only
    first.lock()->stopPlayback();               // what no host can do
    EXPECT_TRUE(first.expired());
    QMVeyraKit::pluginWithAVPlayer(nullptr, "A-2", "C-1", std::nullopt, "Name", std::nullopt, std::nullopt,
                                   std::nullopt);
    QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
}

// The observations are removed from the item current at the stop, under one guard: a removal
// that fails skips the rest of the eight; the notifications are removed for that item all the
// same, and the timer stops.
TEST_F(QMAVPlayerPIEReporterTest, TheStopRemovesFromTheItemCurrentThenAndAFailedRemovalSkipsTheRest) {
    start();
    player->replaceCurrentItemWithPlayerItem(
        AVPlayerItem::playerItemWithURL(QMURL::URLWithString("https://cdn.example/v/other.m3u8")));
    reporter->stopPlayback();
    EXPECT_EQ(player->observationCount(), 0u);  // the player's two go first
    EXPECT_EQ(item->observationCount(), 6u);    // not tried: "status" of the later item failed
    EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), 6u);  // those of the first item
    EXPECT_FALSE(reporter->timer()->isValid());

    auto other = AVPlayerItem::playerItemWithURL(QMURL::URLWithString(kMaster));
    auto otherPlayer = AVPlayer::playerWithPlayerItem(other);
    auto stopped = std::make_shared<QMAVPlayerPIEReporter>()->initWithPlayer(
        otherPlayer, "A-1", "C-1", std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt);
    otherPlayer->removeObserver(stopped.get(), "rate");  // the first removal will fail
    stopped->stopPlayback();
    EXPECT_EQ(otherPlayer->observationCount(), 1u);  // "status", not tried
    EXPECT_EQ(other->observationCount(), 6u);        // none tried either
    EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), 6u);
    EXPECT_FALSE(stopped->timer()->isValid());
    settle(0);
    leavesBehind(observations(6) + notificationObservers(6),
                 "the first reporter's observations of the item it observed, which it never removed");
}

}  // namespace veyrakit
