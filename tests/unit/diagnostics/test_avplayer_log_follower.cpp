#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "diagnostics/QMAVPlayerLogFollower.h"

namespace veyrakit {

namespace {

using Strings = std::vector<std::string>;

// "<event name> <info> | <file text>" ("-" for a file line only); every file text ends in "\n".
Strings rendered(const std::vector<QMAVPlayerLogFollower::Change>& changes) {
    Strings out;
    for (const auto& c : changes) {
        EXPECT_EQ(c.fileText.back(), '\n');
        out.push_back((c.eventName ? *c.eventName + " " + c.info.dump() : "-") + " | " +
                      c.fileText.substr(0, c.fileText.size() - 1));
    }
    return out;
}

std::shared_ptr<AVPlayerItemAccessLogEvent> fullEntry() {
    auto e = std::make_shared<AVPlayerItemAccessLogEvent>();
    e->setURI("u1");
    e->setServerAddress("10.0.0.1");
    e->setNumberOfServerAddressChanges(1);
    e->setMediaRequestsWWAN(2);
    e->setTransferDuration(1.5);
    e->setNumberOfBytesTransferred(5'000'000'000);
    e->setNumberOfMediaRequests(3);
    e->setPlaybackStartDate(QMDate::dateWithTimeIntervalSince1970(1'700'000'000.75));
    e->setPlaybackStartOffset(0.5);
    e->setPlaybackType("VOD");
    e->setStartupTime(0.25);
    e->setDurationWatched(10.0);
    e->setNumberOfDroppedVideoFrames(4);
    e->setNumberOfStalls(1);
    e->setSegmentsDownloadedDuration(12.0);
    e->setDownloadOverdue(0);  // equal to its initial shadow: no change
    e->setIndicatedBitrate(8.0);
    e->setObservedBitrate(9.5);
    e->setObservedMinBitrate(7.0);
    e->setObservedMaxBitrate(11.0);
    e->setObservedBitrateStandardDeviation(1.25);
    e->setSwitchBitrate(8.0);
    return e;
}

}  // namespace

TEST(QMAVPlayerLogFollower, AccessLogRowsInOrderWithTheirSpellingsSkipRulesAndNaN) {
    QMAVPlayerLogFollower follower;
    auto entry = fullEntry();
    EXPECT_EQ(
        rendered(follower.accessLogChanges(entry.get())),
        (Strings{
            "- | Access log URI: u1",
            "- | Access log server address: 10.0.0.1",
            "- | Access log number of server address changes: 1",
            R"(mediaRequestsWWAN {"requests":2} | Access log number of network read requests over WWAN: 2)",
            R"(transferDuration {"duration":1.5} | Access log transfer duration: 1.500000)",
            R"(bytesTransfered {"bytes":5000000000} | Access log number of bytes transfered: 5000000000)",
            R"(numberOfMediaRequests {"requests":3} | Access log number of media requests: 3)",
            // whole seconds: the .75 is gone
            R"(playbackStartDate {"timestamp":1700000000000} | Access log playback start date: 1700000000000)",
            R"(playbackStartOffset {"offset":0.5} | Access log playback start offset: 0.500000)",
            R"(playbackType {"type":"VOD"} | Access log playback type: VOD)",
            R"(startupTime {"time":0.25} | Access log startup time: 0.250000)",
            R"(durationWatched {"duration":10.0} | Access log duration watched: 10.000000)",
            R"(numberOfDroppedVideoFrames {"frames":4} | Access log number of dropped video frames: 4)",
            R"(numberOfStalls {"stalls":1} | Access log number of stalls: 1)",
            R"(segmentsDownloadedDuration {"duration":12.0} | Access log segments downloaded duration: 12.000000)",
            R"(indicatedBitrate {"bitrate":8.0} | Access log indicated bitrate: 8.000000)",
            R"(observedBitrate {"bitrate":9.5} | Access log observed bitrate: 9.500000)",
            R"(observedMinBitrate {"bitrate":7.0} | Access log observed min bitrate: 7.000000)",
            R"(observedMaxBitrate {"bitrate":11.0} | Access log observed max bitrate: 11.000000)",
            R"(observedBitrateStandardDeviation {"standardDeviation":1.25} | Access log observed bitrate standard deviation: 1.250000)",
            R"(switchBitrate {"bitrate":8.0} | Access log switch bitrate: 8.000000)",
        }));
    EXPECT_TRUE(follower.accessLogChanges(entry.get()).empty());

    // -1.0 and nil keep their shadows on the rows that skip them; a NaN is new every time.
    entry->setStartupTime(-1.0);
    entry->setObservedBitrateStandardDeviation(-1.0);
    entry->setSwitchBitrate(-1.0);
    entry->setPlaybackStartDate(nullptr);
    entry->setPlaybackType(std::nullopt);
    entry->setObservedBitrate(std::nan(""));
    const Strings nan{R"(observedBitrate {"bitrate":null} | Access log observed bitrate: nan)"};
    EXPECT_EQ(rendered(follower.accessLogChanges(entry.get())), nan);
    EXPECT_EQ(rendered(follower.accessLogChanges(entry.get())), nan);
    // -1 on a row without the skip is a change; a skipped row takes its next real value.
    entry->setObservedBitrate(9.5);
    entry->setNumberOfStalls(-1);
    entry->setStartupTime(0.5);
    EXPECT_EQ(rendered(follower.accessLogChanges(entry.get())),
              (Strings{R"(startupTime {"time":0.5} | Access log startup time: 0.500000)",
                       R"(numberOfStalls {"stalls":-1} | Access log number of stalls: -1)",
                       R"(observedBitrate {"bitrate":9.5} | Access log observed bitrate: 9.500000)"}));
}

TEST(QMAVPlayerLogFollower, ErrorLogSharesUriAndAddressAndNilAlwaysCounts) {
    QMAVPlayerLogFollower follower;
    auto access = fullEntry();
    follower.accessLogChanges(access.get());
    auto error = std::make_shared<AVPlayerItemErrorLogEvent>();
    error->setURI("u2");
    error->setServerAddress("10.0.0.1");
    error->setDate(QMDate::dateWithTimeIntervalSince1970(1'700'000'001.9));
    error->setErrorStatusCode(404);
    error->setErrorDomain("CoreMediaErrorDomain");
    EXPECT_EQ(
        rendered(follower.errorLogChanges(error.get())),
        (Strings{"- | Error log URI: u2",
                 R"(errorDate {"timestamp":1700000001000} | Error log date: 1700000001000)",
                 R"(errorStatusCode {"statusCode":404} | Error log status code: 404)",
                 R"(errorDomain {"domain":"CoreMediaErrorDomain"} | Error log domain: CoreMediaErrorDomain)",
                 "errorComment {} | Error log comment: (null)"}));
    // Back to the access log: its URI differs from the shared shadow again.
    EXPECT_EQ(rendered(follower.accessLogChanges(access.get())), (Strings{"- | Access log URI: u1"}));
    // No entry: nil strings and dates, zero numbers.
    EXPECT_EQ(rendered(follower.errorLogChanges(nullptr)),
              (Strings{"- | Error log URI: (null)", "- | Error log server address: (null)",
                       R"(errorDate {"timestamp":0} | Error log date: 0)",
                       R"(errorStatusCode {"statusCode":0} | Error log status code: 0)",
                       "errorDomain {} | Error log domain: (null)",
                       "errorComment {} | Error log comment: (null)"}));
    follower.resetProperties();
    EXPECT_EQ(follower.accessLogChanges(access.get()).size(), 21u);
}

}  // namespace veyrakit
