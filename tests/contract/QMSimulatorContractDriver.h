#pragma once
#include <memory>
#include <string>

#include "contract/QMContractDriver.h"
#include "simulator/QMPlayerSimulator.h"

namespace veyrakit {

// The scenario simulator as a contract driver: the medium becomes a scenario header, each event a
// step.
class QMSimulatorContractDriver : public QMContractDriver {
  public:
    bool timesEveryEvent() const override { return true; }
    Facts facts() const override { return {"20", "960x540"}; }
    void load(const Media& media) override;
    std::shared_ptr<AVPlayer> avPlayer() const override;
    std::shared_ptr<MPMoviePlayerController> mpMoviePlayer() const override;
    void schedule(int64_t atMillis, const std::string& event) override;
    void start() override;
    void runFor(int64_t millis) override;

  private:
    void remake();

    std::string header_;
    std::string steps_;
    std::shared_ptr<QMPlayerSimulator> simulator_;
};

}  // namespace veyrakit
