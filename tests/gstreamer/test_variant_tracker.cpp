#include <gtest/gtest.h>

#include <string>

#include "QMGStreamerMasterPlaylist.h"
#include "QMGStreamerVariantTracker.h"

namespace veyrakit {

// Which HLS variant is shown, told apart from which one the demuxer downloads: the sequences are
// the ones GStreamer's HLS demuxer and a video sink produce (seconds as nanoseconds).

namespace {

constexpr int64_t kSecond = 1'000'000'000;
const std::string kMaster = "http://media.example/vod/master.m3u8";
const std::string kLadder =
    "#EXTM3U\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=200000,AVERAGE-BANDWIDTH=160000,RESOLUTION=160x90,CODECS=\"avc1.42c00d,mp4a."
    "40.2\"\n"
    "v0/index.m3u8\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=400000,RESOLUTION=320x180\r\n"
    "/other/v1/index.m3u8\r\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=800000,AVERAGE-BANDWIDTH=640000,RESOLUTION=480x270\n"
    "http://cdn.example/v2/index.m3u8\n";

TEST(MasterPlaylist, VariantsWithTheirBitrateSizeAndURIResolvedAgainstThePlaylist) {
    const auto variants = QMGStreamerMasterPlaylist::parse(kLadder, kMaster).variants();
    ASSERT_EQ(variants.size(), 3u);
    EXPECT_EQ(variants[0].uri, "http://media.example/vod/v0/index.m3u8");
    EXPECT_EQ(variants[0].bitrate, 160000);  // the average, as the demuxer announces it
    EXPECT_EQ(variants[0].width, 160);
    EXPECT_EQ(variants[0].height, 90);
    EXPECT_EQ(variants[1].uri, "http://media.example/other/v1/index.m3u8");
    EXPECT_EQ(variants[1].bitrate, 400000);  // no average: the peak
    EXPECT_EQ(variants[2].uri, "http://cdn.example/v2/index.m3u8");
    EXPECT_TRUE(QMGStreamerMasterPlaylist::parse("#EXTM3U\n#EXTINF:2,\nseg0.ts\n").variants().empty());
    // A reference without a scheme takes the playlist's; steps up leave the playlist's folder.
    const auto others = QMGStreamerMasterPlaylist::parse(
        "#EXT-X-STREAM-INF:BANDWIDTH=1\n"
        "//cdn.example/v0.m3u8\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=2\n"
        "../up/v1.m3u8\n",
        kMaster);
    ASSERT_EQ(others.variants().size(), 2u);
    EXPECT_EQ(others.variants()[0].uri, "http://cdn.example/v0.m3u8");
    EXPECT_EQ(others.variants()[1].uri, "http://media.example/up/v1.m3u8");
}

TEST(VariantTracker, TheFirstVariantIsTheOneShownAndASwitchCountsWhenItsFirstPictureIsShown) {
    QMGStreamerVariantTracker tracker;
    tracker.setMasterPlaylist(kLadder, kMaster);
    // The demuxer starts with the first variant without announcing it, then announces the top one
    // while the first fragment is still playing.
    tracker.fragmentStarted(62 * kSecond, 160, 90);
    tracker.announce("http://cdn.example/v2/index.m3u8", 640000);
    tracker.fragmentStarted(64 * kSecond, 480, 270);
    const auto first = tracker.pictureShown(62 * kSecond);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->uri, "http://media.example/vod/v0/index.m3u8");
    EXPECT_EQ(first->bitrate, 160000);
    EXPECT_FALSE(tracker.pictureShown(63 * kSecond));
    const auto top = tracker.pictureShown(64 * kSecond);
    ASSERT_TRUE(top);
    EXPECT_EQ(top->uri, "http://cdn.example/v2/index.m3u8");
    EXPECT_EQ(top->bitrate, 640000);
    // More fragments of the same variant are no switch.
    tracker.fragmentStarted(66 * kSecond, 480, 270);
    EXPECT_FALSE(tracker.pictureShown(66 * kSecond));
}

TEST(VariantTracker, VariantsOfOneSizeAreToldApartByTheAnnouncementAndASeekDropsWhatWasQueued) {
    QMGStreamerVariantTracker tracker;
    tracker.setMasterPlaylist(
        "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=300000,RESOLUTION=640x360\nlow.m3u8\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=900000,RESOLUTION=640x360\nhigh.m3u8\n",
        kMaster);
    tracker.fragmentStarted(0, 640, 360);
    EXPECT_EQ(tracker.pictureShown(0)->uri, "http://media.example/vod/low.m3u8");
    tracker.announce("http://media.example/vod/high.m3u8", 900000);
    tracker.fragmentStarted(2 * kSecond, 640, 360);
    tracker.flush();  // a seek: the queued fragment is never shown
    EXPECT_FALSE(tracker.pictureShown(3 * kSecond));
    tracker.fragmentStarted(10 * kSecond, 640, 360);
    EXPECT_EQ(tracker.pictureShown(10 * kSecond)->bitrate, 900000);
}

TEST(VariantTracker, WithoutAMasterPlaylistNothingIsAVariant) {
    QMGStreamerVariantTracker tracker;
    tracker.fragmentStarted(0, 320, 180);
    EXPECT_FALSE(tracker.pictureShown(0));
}

}  // namespace

}  // namespace veyrakit
