#pragma once
#include <atomic>
#include <map>
#include <optional>
#include <string>

#include "platform/QMJSON.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Base of every metric: the collection protocol the metric manager drives and the shared
// vocabulary of report value names. A report asks each collectable metric for its values
// (`collectMetric`), which also runs the metric's per-report reset hook.
class QMMetric : public QMObject {
  public:
    QMMetric() = default;

    // Report value names (the JSON keys of reports).
    static const std::string& PROPERTY_CURRENT_BUFFER_TIME();
    static const std::string& PROPERTY_BUFFERING_TIME_LEADING_TO_NOW();
    static const std::string& PROPERTY_TOTAL_BUFFER_TIME();
    static const std::string& PROPERTY_JOIN_TIME();
    static const std::string& PROPERTY_BIT_RATE();
    static const std::string& PROPERTY_FRAME_RATE();
    static const std::string& PROPERTY_PLAYING();
    static const std::string& PROPERTY_PLAYBACK_COMPLETED();
    static const std::string& PROPERTY_TOTAL_PLAYING_TIME();
    static const std::string& PROPERTY_CURRENT_PLAYING_TIME();
    static const std::string& PROPERTY_TOTAL_VIEWED_TIME();
    static const std::string& PROPERTY_CURRENT_VIEWED_TIME();
    static const std::string& PROPERTY_TOTAL_FULL_SCREEN_TIME();
    static const std::string& PROPERTY_CURRENT_FULL_SCREEN_TIME();
    static const std::string& PROPERTY_AVAILABLE_BITRATES();
    static const std::string& PROPERTY_ASSET_DURATION();
    static const std::string& PROPERTY_CURRENT_ELAPSED_TIME();
    static const std::string& PROPERTY_TOTAL_ELAPSED_TIME();
    static const std::string& PROPERTY_PERIOD_DURATION();
    static const std::string& PROPERTY_ALIVE();

    // Long value name -> short key used in report log lines. Names without a short key
    // (asset duration, elapsed times, period duration, alive) are absent on purpose.
    static const std::map<std::string, std::string>& ABR_PROPERTY_MAP();

    virtual void startMetricCollection();
    virtual void stopMetricCollection();
    // Abstract: the base throws QMInternalInconsistencyException.
    virtual bool canCollectMetric();
    // calculateMetric, then afterMetricCollected; returns what calculateMetric returned.
    std::optional<QMJSON> collectMetric();
    virtual void afterMetricCollected();
    // Abstract: the base throws QMInternalInconsistencyException.
    virtual std::optional<QMJSON> calculateMetric();

    bool isMonitoring() const { return isMonitoring_; }
    void setIsMonitoring(bool isMonitoring) { isMonitoring_ = isMonitoring; }
    // Whether the last periodical report got through; recorded for subclasses only.
    bool isSentSuccessfully() const { return isSentSuccessfully_; }
    void setIsSentSuccessfully(bool isSentSuccessfully) { isSentSuccessfully_ = isSentSuccessfully; }

  protected:
    [[noreturn]] static void mustOverride(const std::string& operation);

  private:
    std::atomic<bool> isMonitoring_{false};
    std::atomic<bool> isSentSuccessfully_{false};
};

}  // namespace veyrakit
