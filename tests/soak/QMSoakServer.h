#pragma once
#include <cstdint>
#include <random>
#include <string>

#include "support/QMURLStubRegistry.h"

namespace veyrakit {

// The analytics server, the diagnostic collectors and the media server of a soak, as stubs in the
// URL stub registry: it answers like a healthy server, but now and then throttles (a session start
// answer with "skipReports", a report answer with "skipReports"), skips an answer (a 503 with no
// body) or fails the connection, and answers after a short delay. The faults come from a seeded
// pseudo-random sequence, so a seed always gives the same soak.
class QMSoakServer {
  public:
    struct Faults {
        int64_t throttles = 0;
        int64_t skips = 0;
        int64_t failures = 0;
    };

    explicit QMSoakServer(uint32_t seed) : random_(seed) {}
    void install(QMURLStubRegistry& stubs);
    const Faults& faults() const { return faults_; }

  private:
    QMStubResponse sessionStartAnswer();
    QMStubResponse reportAnswer();
    QMStubResponse diagnosticAnswer();
    // True with the given chance, in per mille.
    bool chance(int perMille);
    QMStubResponse delayed(QMStubResponse response);

    std::mt19937 random_;
    int64_t sessions_ = 0;
    Faults faults_;
};

}  // namespace veyrakit
