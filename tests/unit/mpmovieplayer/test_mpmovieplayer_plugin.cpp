#include <gtest/gtest.h>

#include "platform/QMException.h"
#include "unit/mpmovieplayer/QMMPMoviePlayerSessionTest.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

using QMMPMoviePlayerPluginTest = QMMPMoviePlayerSessionTest;
using Plugin = QMMPMoviePlayerControllerVeyraPlugin;

namespace {
std::shared_ptr<MPMoviePlayerController> mpMoviePlayer(const std::string& url) {
    return std::make_shared<MPMoviePlayerController>(QMURL::URLWithString(url));
}
}  // namespace

TEST_F(QMMPMoviePlayerPluginTest, MetadataKeepsEveryElementAndAnEmptyArray) {
    auto meta = [](std::optional<std::string> key, std::optional<std::vector<std::string>> values) {
        return std::make_shared<QMCustomMetadata>(std::move(key), std::move(values));
    };
    EXPECT_EQ(Plugin::convertMetadataKeyPairToSerializable(std::nullopt), std::nullopt);
    EXPECT_EQ(Plugin::convertMetadataKeyPairToSerializable(QMCustomMetadataArray{})->dump(), "[]");
    EXPECT_EQ(Plugin::convertMetadataKeyPairToSerializable(
                  QMCustomMetadataArray{meta(std::nullopt, Strings{"x"}), meta("k", std::nullopt),
                                        meta("g", Strings{})})
                  ->dump(),
              R"([{"values":["x"]},{"key":"k"},{"key":"g","values":[]}])");
}

TEST_F(QMMPMoviePlayerPluginTest, OnlyThePlayingStateStartsAndEveryFinishStops) {
    auto player = mpMoviePlayer("https://cdn.example/v/index.m3u8");
    monitor(player);
    player->pause();
    EXPECT_TRUE(plugin()->stopped());
    EXPECT_EQ(plugin()->metricManager(), nullptr);
    player->play();
    EXPECT_FALSE(plugin()->stopped());
    EXPECT_TRUE(plugin()->WaitingForSessionInit());
    ASSERT_NE(plugin()->metricManager(), nullptr);
    player->pause();
    EXPECT_FALSE(plugin()->stopped());  // a pause is not the end
    // A finish posted by someone else is not the player's.
    QMNotificationCenter::defaultCenter()->postNotificationName(
        MPMoviePlayerPlaybackDidFinishNotification, mpMoviePlayer("https://cdn.example/other.mp4"),
        {{MPMoviePlayerPlaybackDidFinishReasonUserInfoKey,
          static_cast<long>(MPMovieFinishReasonPlaybackEnded)}});
    EXPECT_FALSE(plugin()->stopped());
    player->finishPlayback(MPMovieFinishReasonUserExited, nullptr);
    EXPECT_TRUE(plugin()->stopped());
    EXPECT_TRUE(plugin()->destroyed());
}

TEST_F(QMMPMoviePlayerPluginTest, TheFourthFailedSessionRequestLeavesThePluginAliveWithoutASession) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"), QMStubResponse::fail(), 4);
    auto player = mpMoviePlayer("https://cdn.example/v/index.m3u8");
    monitor(player);
    runFor(10'000);
    EXPECT_EQ(stubs().requestsTo("/player/init").size(), 4u);
    EXPECT_EQ(logs().back(), "E X Cannot connect to server.");
    EXPECT_FALSE(plugin()->destroyed());  // the "destroy" notification is not observed
    EXPECT_EQ(plugin()->sessionId(), std::nullopt);
    player->play();
    EXPECT_TRUE(plugin()->WaitingForSessionInit());
}

TEST_F(QMMPMoviePlayerPluginTest, TheFacadeDestroysThenDisposesTheOldPluginWithoutGuardOrLog) {
    auto first = mpMoviePlayer("https://cdn.example/v/index.m3u8");
    monitor(first);
    auto old = plugin();
    // The plugin's two, the error handler's one and the diagnostic handler's thirteen.
    EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), 2u + 1u + 13u);
    old->dispose();
    old->dispose();  // no guard: removing again is harmless
    EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), 1u + 13u);
    const auto logged = logs().size();
    monitor(mpMoviePlayer("https://cdn.example/w/index.m3u8"));
    const auto lines = logs();
    EXPECT_EQ(
        Strings(lines.begin() + static_cast<long>(logged), lines.begin() + static_cast<long>(logged) + 3),
        (Strings{"I T CDNSwitchingPluginManager: Destroying old plugin instance to create new one.",
                 "I T Disposing all parts", "I IR get session id from server - initWithParams"}));
    EXPECT_TRUE(old->destroyed());
    EXPECT_NE(plugin(), old);
    // No player: the new plugin is destroyed and disposed, and stays in the slot.
    auto second = plugin();
    QMVeyraKit::pluginWithMPMoviePlayerController(nullptr, "A-1", "C-1", std::nullopt, "Name", std::nullopt,
                                                  std::nullopt, std::nullopt);
    EXPECT_EQ(plugin(), second);
    EXPECT_TRUE(second->destroyed());
    EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), 0u);
    // Nothing is caught on this path: a player without a content URL fails the init log line.
    EXPECT_THROW(monitor(std::make_shared<MPMoviePlayerController>(nullptr)), QMInvalidArgumentException);
    EXPECT_EQ(plugin(), second);
    // The facade's commands never reach a movie player plugin.
    QMVeyraKit::stopPlayback();
    QMVeyraKit::viewerFaultReport("E1", "1.0");
    EXPECT_EQ(stubs().requestsTo("/player/report").size(), 0u);
}

}  // namespace veyrakit
