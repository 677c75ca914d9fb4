#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "diagnostics/QMAVPlayerLogFollower.h"
#include "diagnostics/QMAVPlayerPlaylistReader.h"

namespace {

using Strings = std::vector<std::string>;

// "<event name> <info> | <file text>", "- | <file text>" for a file line only.
Strings rendered(const std::vector<QMAVPlayerLogFollower::Change>& changes) {
    Strings out;
    for (const auto& change : changes) {
        out.push_back((change.eventName ? *change.eventName + " " + change.info.dump() : std::string("-")) +
                      " | " + change.fileText);
    }
    return out;
}

std::shared_ptr<AVPlayerItemAccessLogEvent> fullEntry() {
    auto e = std::make_shared<AVPlayerItemAccessLogEvent>();
    e->setURI("https://cdn.example/v/low/seg1.ts");
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
    e->setIndicatedBitrate(1280000.0);
    e->setObservedBitrate(2000000.5);
    e->setObservedMinBitrate(1000000.0);
    e->setObservedMaxBitrate(3000000.0);
    e->setObservedBitrateStandardDeviation(1234.5);
    e->setSwitchBitrate(1280000.0);
    return e;
}

}  // namespace

TEST(QMAVPlayerLogFollower, AccessLogRowsInOrderWithTheirSpellingsSkipRulesAndNaN) {
    QMAVPlayerLogFollower follower;
    auto entry = fullEntry();
    EXPECT_EQ(
        rendered(follower.accessLogChanges(entry.get())),
        (Strings{
            "- | Access log URI: https://cdn.example/v/low/seg1.ts\n",
            "- | Access log server address: 10.0.0.1\n",
            "- | Access log number of server address changes: 1\n",
            R"(mediaRequestsWWAN {"requests":2} | Access log number of network read requests over WWAN: 2)"
            "\n",
            R"(transferDuration {"duration":1.5} | Access log transfer duration: 1.500000)"
            "\n",
            R"(bytesTransfered {"bytes":5000000000} | Access log number of bytes transfered: 5000000000)"
            "\n",
            R"(numberOfMediaRequests {"requests":3} | Access log number of media requests: 3)"
            "\n",
            // Whole seconds: the .75 is gone.
            R"(playbackStartDate {"timestamp":1700000000000} | Access log playback start date: 1700000000000)"
            "\n",
            R"(playbackStartOffset {"offset":0.5} | Access log playback start offset: 0.500000)"
            "\n",
            R"(playbackType {"type":"VOD"} | Access log playback type: VOD)"
            "\n",
            R"(startupTime {"time":0.25} | Access log startup time: 0.250000)"
            "\n",
            R"(durationWatched {"duration":10.0} | Access log duration watched: 10.000000)"
            "\n",
            R"(numberOfDroppedVideoFrames {"frames":4} | Access log number of dropped video frames: 4)"
            "\n",
            R"(numberOfStalls {"stalls":1} | Access log number of stalls: 1)"
            "\n",
            R"(segmentsDownloadedDuration {"duration":12.0} | Access log segments downloaded duration: 12.000000)"
            "\n",
            R"(indicatedBitrate {"bitrate":1280000.0} | Access log indicated bitrate: 1280000.000000)"
            "\n",
            R"(observedBitrate {"bitrate":2000000.5} | Access log observed bitrate: 2000000.500000)"
            "\n",
            R"(observedMinBitrate {"bitrate":1000000.0} | Access log observed min bitrate: 1000000.000000)"
            "\n",
            R"(observedMaxBitrate {"bitrate":3000000.0} | Access log observed max bitrate: 3000000.000000)"
            "\n",
            R"(observedBitrateStandardDeviation {"standardDeviation":1234.5} | Access log observed bitrate standard deviation: 1234.500000)"
            "\n",
            R"(switchBitrate {"bitrate":1280000.0} | Access log switch bitrate: 1280000.000000)"
            "\n",
        }));
    EXPECT_TRUE(follower.accessLogChanges(entry.get()).empty());

    // Not available (-1.0) and nil keep the shadows where the rows skip them; a NaN is always new.
    entry->setStartupTime(-1.0);
    entry->setObservedBitrateStandardDeviation(-1.0);
    entry->setSwitchBitrate(-1.0);
    entry->setPlaybackStartDate(nullptr);
    entry->setPlaybackType(std::nullopt);
    entry->setObservedBitrate(std::nan(""));
    const Strings nan{R"(observedBitrate {"bitrate":null} | Access log observed bitrate: nan)"
                      "\n"};
    EXPECT_EQ(rendered(follower.accessLogChanges(entry.get())), nan);
    EXPECT_EQ(rendered(follower.accessLogChanges(entry.get())), nan);
    // -1 of a row without the skip is a change; a skipped row picks up its next real value.
    entry->setObservedBitrate(2000000.5);
    entry->setNumberOfStalls(-1);
    entry->setStartupTime(0.25);
    EXPECT_EQ(
        rendered(follower.accessLogChanges(entry.get())),
        (Strings{R"(numberOfStalls {"stalls":-1} | Access log number of stalls: -1)"
                 "\n",
                 R"(observedBitrate {"bitrate":2000000.5} | Access log observed bitrate: 2000000.500000)"
                 "\n"}));
}

TEST(QMAVPlayerLogFollower, ErrorLogSharesUriAndAddressAndNilAlwaysCounts) {
    QMAVPlayerLogFollower follower;
    auto access = fullEntry();
    follower.accessLogChanges(access.get());
    auto error = std::make_shared<AVPlayerItemErrorLogEvent>();
    error->setURI("https://cdn.example/v/low/seg2.ts");
    error->setServerAddress("10.0.0.1");
    error->setDate(QMDate::dateWithTimeIntervalSince1970(1'700'000'001.9));
    error->setErrorStatusCode(404);
    error->setErrorDomain("CoreMediaErrorDomain");
    EXPECT_EQ(
        rendered(follower.errorLogChanges(error.get())),
        (Strings{"- | Error log URI: https://cdn.example/v/low/seg2.ts\n",
                 R"(errorDate {"timestamp":1700000001000} | Error log date: 1700000001000)"
                 "\n",
                 R"(errorStatusCode {"statusCode":404} | Error log status code: 404)"
                 "\n",
                 R"(errorDomain {"domain":"CoreMediaErrorDomain"} | Error log domain: CoreMediaErrorDomain)"
                 "\n",
                 "errorComment {} | Error log comment: (null)\n"}));
    // Back to the access log: its URI differs from the shared shadow again.
    EXPECT_EQ(rendered(follower.accessLogChanges(access.get())),
              (Strings{"- | Access log URI: https://cdn.example/v/low/seg1.ts\n"}));
    // No entry at all: nil strings and dates, zero numbers.
    EXPECT_EQ(rendered(follower.errorLogChanges(nullptr)),
              (Strings{"- | Error log URI: (null)\n", "- | Error log server address: (null)\n",
                       R"(errorDate {"timestamp":0} | Error log date: 0)"
                       "\n",
                       R"(errorStatusCode {"statusCode":0} | Error log status code: 0)"
                       "\n",
                       "errorDomain {} | Error log domain: (null)\n",
                       "errorComment {} | Error log comment: (null)\n"}));
    follower.resetProperties();
    EXPECT_EQ(follower.accessLogChanges(access.get()).size(), 21u);
}

TEST(QMAVPlayerPlaylistReader, PatternsTakeAverageBandwidthAndNeedAnEndingCharacter) {
    const std::string variant = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1280000,RESOLUTION=640x360\nlow.m3u8\n";
    EXPECT_EQ(QMAVPlayerPlaylistReader::bitratesInPlaylist(variant), (std::vector<double>{1280000.0}));
    const auto sizes = QMAVPlayerPlaylistReader::resolutionsInPlaylist(variant);
    ASSERT_EQ(sizes.size(), 1u);
    EXPECT_EQ(sizes[0].width, 640.0);
    EXPECT_EQ(sizes[0].height, 360.0);

    const std::string both =
        "#EXT-X-STREAM-INF:AVERAGE-BANDWIDTH=1000000,BANDWIDTH=1280000\r\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=x9,RESOLUTION=1x2x3,RESOLUTION=1920x1080";
    EXPECT_EQ(QMAVPlayerPlaylistReader::bitratesInPlaylist(both),
              (std::vector<double>{1000000.0, 1280000.0, 0.0}));
    // 1x2x3 is not two parts; the last RESOLUTION has nothing after it.
    EXPECT_TRUE(QMAVPlayerPlaylistReader::resolutionsInPlaylist(both).empty());
    EXPECT_TRUE(QMAVPlayerPlaylistReader::bitratesInPlaylist("").empty());
}
