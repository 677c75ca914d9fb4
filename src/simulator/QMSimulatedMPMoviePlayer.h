#pragma once
#include <memory>

#include "simulator/QMSimulatedPlayer.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// Drives an MPMoviePlayerController made with the scenario's URL, stopped and with an unknown
// load state at first.
class QMSimulatedMPMoviePlayer : public QMSimulatedPlayer {
  public:
    QMSimulatedMPMoviePlayer(const std::shared_ptr<QMScenario>& scenario,
                             std::shared_ptr<QMSimulatedStream> stream);
    ~QMSimulatedMPMoviePlayer() override;

    const std::shared_ptr<MPMoviePlayerController>& player() const { return player_; }
    double position() const override;

  protected:
    bool isAdvancing() const override;
    double playheadRate() const override;
    void play() override;
    void pause() override;
    void changeRate(double rate) override;
    void becomeReady() override;
    void fillBuffer() override;
    void seek(int64_t millis) override;
    void stall() override;
    void recover() override;
    void variantChanged() override;
    void serverError(const QMScenarioStep& step) override;
    void fail(const QMScenarioStep& step, const std::shared_ptr<QMError>& error) override;
    void stop() override;
    void endOfMedia() override;
    void performOwnStep(const QMScenarioStep& step) override;
    void addAccessLogEvent() override;
    void refreshAccessLogEvent() override;

  private:
    std::shared_ptr<MPMoviePlayerController> player_;
    std::shared_ptr<MPMovieAccessLogEvent> currentEvent_;
};

}  // namespace veyrakit
