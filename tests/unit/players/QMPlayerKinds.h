#pragma once
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "unit/avplayer/QMAVPlayerSessionTest.h"
#include "unit/mpmovieplayer/QMMPMoviePlayerSessionTest.h"

namespace veyrakit {

// The session fixtures of both player kinds, for the typed tests that run a shared case once per
// kind; the kind names each run ("QMPlayerPluginTest/AVPlayer.…").
using QMPlayerKinds = ::testing::Types<QMAVPlayerSessionTest, QMMPMoviePlayerSessionTest>;

class QMPlayerKindName {
  public:
    template <typename KindTest>
    static std::string GetName(int) {
        return std::is_same_v<KindTest, QMAVPlayerSessionTest> ? "AVPlayer" : "MPMoviePlayer";
    }
};

}  // namespace veyrakit
