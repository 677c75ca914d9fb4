#include <gtest/gtest.h>

#include "unit/players/QMPlayerKinds.h"

namespace veyrakit {

namespace {

// What the plugins of both player kinds do alike, run once per kind.
template <typename KindTest>
class QMPlayerPluginTest : public KindTest {};

TYPED_TEST_SUITE(QMPlayerPluginTest, QMPlayerKinds, QMPlayerKindName);

}  // namespace

TYPED_TEST(QMPlayerPluginTest, StreamTypeIsAnchoredAtTheEndOfTheWholeURLAndIgnoresCase) {
    using Plugin = typename TestFixture::Plugin;
    auto type = [](const char* url) { return Plugin::extractStreamType(QMURL::URLWithString(url)); };
    EXPECT_EQ(type("https://cdn.example/v/MOVIE.MP4"), "PDL");
    EXPECT_EQ(type("https://cdn.example/a.MP4"), "PDL");
    EXPECT_EQ(type("https://cdn.example/v/index.m3u8"), "HLS");
    EXPECT_EQ(type("https://cdn.example/v/index.m3u8?token=x"), "UNKNOWN");
    EXPECT_EQ(type("https://cdn.example/v/manifest.mpd"), "MPEG_DASH");
    EXPECT_EQ(Plugin::extractStreamType(nullptr), "UNKNOWN");
}

TYPED_TEST(QMPlayerPluginTest, NoPlayerMakesNoPluginAndLogsAnErrorNamingThePlayer) {
    using Plugin = typename TestFixture::Plugin;
    EXPECT_EQ(Plugin::pluginWithParams(nullptr, "A-1", std::nullopt, "C-1", std::nullopt, "N", std::nullopt,
                                       std::nullopt, std::nullopt, std::nullopt),
              nullptr);
    EXPECT_EQ(this->logs().back(), TestFixture::PlayerKind::kNoPlayerLine);
    EXPECT_EQ(QMObjectRepository::getRepositoryInstance()->plugin(), nullptr);
}

}  // namespace veyrakit
