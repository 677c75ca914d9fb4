#pragma once
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "soak/QMSoakLedger.h"
#include "soak/QMSoakServer.h"
#include "support/QMLeftovers.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

// A soak on the virtual clock: monitored playbacks one after another, alternating between the
// player kinds asked for (the default scenario of each kind, diagnostics on), against the
// faulty QMSoakServer, for a number of simulated hours. After every playback it checks that
// nothing is left registered or scheduled, and feeds what the server received to the ledger.
// Per simulated hour it keeps the heap in use and the run-loop callbacks' real durations.
class QMSoakRun {
  public:
    enum class Players { AVPlayer, MPMoviePlayer, Both };
    struct Options {
        int hours = 24;
        Players players = Players::Both;
        uint32_t seed = 1;
        std::string scenarioDir;  // where vod-default.scenario and mpmovieplayer.scenario are
    };
    struct Hour {
        int hour = 0;
        int64_t playbacks = 0;  // since the start
        int64_t reports = 0;
        int64_t heapBytes = 0;  // heap in use after the hour's last playback was torn down
        int64_t callbacks = 0;
        int64_t maxMicros = 0;
        int64_t p99Micros = 0;
    };
    struct Result {
        std::vector<Hour> hours;
        int64_t playbacks = 0;
        int64_t playbacksWithLeftovers = 0;
        std::string firstLeftovers = "nothing";
        QMSoakServer::Faults faults;
        int64_t reports = 0;
        int64_t diagnosticPosts = 0;  // posts of either diagnostic stream
        int64_t retransmissions = 0;
        std::vector<std::string> violations;
        // The largest growth of the heap in use over the end of the first hour.
        int64_t heapGrowthAfterFirstHour() const;
    };

    explicit QMSoakRun(Options options);
    Result run();

  private:
    // Durations up to 10 ms to the microsecond; longer ones count in the last bucket.
    static constexpr std::size_t kBuckets = 10'001;
    void playOnce(int64_t index);
    void checkLeftovers();
    void closeHour(int hour);
    void observeCallback(int64_t micros);

    Options options_;
    std::shared_ptr<QMVirtualRunLoop> loop_;
    QMSoakServer server_;
    QMSoakLedger ledger_;
    QMLeftovers baseline_;
    Result result_;
    std::vector<int64_t> histogram_ = std::vector<int64_t>(kBuckets, 0);
    int64_t callbacks_ = 0;
    int64_t maxMicros_ = 0;
};

}  // namespace veyrakit
