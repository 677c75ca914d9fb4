#pragma once
#include <memory>

#include "simulator/QMSimulatedPlayer.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

// Drives an AVPlayer and its item. The item is made from the scenario's URL (or from an asset
// that is not a URL asset) and is the player's current item from the start, still loading:
// status unknown, buffer empty.
class QMSimulatedAVPlayer : public QMSimulatedPlayer {
  public:
    QMSimulatedAVPlayer(const std::shared_ptr<QMScenario>& scenario,
                        std::shared_ptr<QMSimulatedStream> stream);
    ~QMSimulatedAVPlayer() override;

    const std::shared_ptr<AVPlayer>& player() const { return player_; }
    const std::shared_ptr<AVPlayerItem>& item() const { return item_; }
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
    void addAccessLogEvent() override;
    void refreshAccessLogEvent() override;

  private:
    // The scenario plays the older stall, where the rate drops to 0 until the buffer recovers.
    bool ratesDropOnStall() const;

    std::shared_ptr<AVPlayer> player_;
    std::shared_ptr<AVPlayerItem> item_;
    std::shared_ptr<AVPlayerItemAccessLogEvent> currentEvent_;
};

}  // namespace veyrakit
