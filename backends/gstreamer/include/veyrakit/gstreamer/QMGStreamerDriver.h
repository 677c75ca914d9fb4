#pragma once
#include <gst/gst.h>

#include <memory>
#include <optional>
#include <string>

#include "veyrakit/gstreamer/QMGStreamerLogEntries.h"
#include "veyrakit/gstreamer/QMGStreamerPipeline.h"
#include "veyrakit/gstreamer/QMGStreamerPipelineListener.h"
#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMExport.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/avfoundation/CGSize.h"

namespace veyrakit {

class QMGStreamerProblem;
class QMMediaAccessLogEvent;
class QMTimer;

// What both player drivers share: following one pipeline's facts through loading, stalls,
// variant switches, downloads, failures and the end, keeping the current access-log entry up to
// date, and learning the owner's wishes (play, pause, rate, seek, stop). Each driver
// (QMGStreamerAVPlayerDriver, QMGStreamerMPMoviePlayerDriver) says how its model shows each
// step, in the order the driver contract gives (docs/driver-contract.md).
//
// The wishes come from one of two places. An attached pipeline is the app's: the app asks the
// pipeline for states and seeks, the driver reads them off it (the state asked for; the seeks
// and rates asked for) and makes the model follow. An owned pipeline is commanded by the driver
// itself for whoever drives the model (the demo, the tests): the driver observes the model and
// asks the pipeline for the state and the seeks it wants. Made, used and dropped on the main run
// loop's thread.
class VEYRAKIT_EXPORT QMGStreamerDriver : public QMObject, protected QMGStreamerPipelineListener {
  public:
    ~QMGStreamerDriver() override;

    // Stops following the pipeline (an owned one is torn down); the model keeps its values.
    void stop();
    // The viewer leaves: the model shows the owner's stop (as when the app takes its pipeline
    // to ready or null), then the driver stops following.
    void leave();

  public:
    // Playback ended, failed, was stopped, or the pipeline is gone.
    bool isOver() const { return over_; }
    // Why playback failed, in the error the model was given; nullptr unless it failed.
    const std::shared_ptr<QMError>& failure() const { return failure_; }

  protected:
    explicit QMGStreamerDriver(std::string url);
    void follow(std::shared_ptr<QMGStreamerPipeline> pipeline);
    const std::shared_ptr<QMGStreamerPipeline>& pipeline() const { return pipeline_; }
    QMGStreamerLogEntries& log() { return log_; }
    bool isReady() const { return ready_; }
    bool hasStarted() const { return started_; }
    bool isBuffering() const { return buffering_; }
    // Attached: the owner's wishes are read from the pipeline.
    bool isFollowingOwner() const { return pipeline_ && !pipeline_->isOwned(); }
    // Owned: asks the pipeline for the state the model wants now (playing once ready, not
    // buffering and wanted), or for a seek; nothing for an attached pipeline.
    void applyState();
    void seekPipeline(double position);
    bool isSeeking() const { return seeking_; }
    // Ends the driver's playback: nothing more changes on the model, the pipeline is let go.
    void finish();
    // Counts a stall in the current access-log event (each model at its own moment of a stall).
    void countStall();

    // How the model shows each step.
    virtual void modelBecomesReady(const std::optional<double>& duration,
                                   const std::optional<CGSize>& size) = 0;
    virtual void modelStalls() = 0;
    virtual void modelRecovers() = 0;
    virtual void modelReachesPlaying() {}
    // The owner of an attached pipeline asked it to play at `rate`, to pause (other than to
    // refill), to stop (ready or null: this playback is over), or to seek to `position` seconds.
    virtual void ownerPlays(float rate) = 0;
    virtual void ownerPauses() = 0;
    virtual void ownerStops() = 0;
    virtual void ownerSeeks(double position) = 0;
    // The pipeline has prerolled and refilled at a seek's position.
    virtual void modelSeekEnds() {}
    // Owned: whether the model wants playback to run.
    virtual bool modelWantsToPlay() const = 0;
    virtual void modelShowsPictureSize(CGSize size) = 0;
    // A duration the pipeline did not know when the model became ready, known now.
    virtual void modelLearnsDuration(double seconds) = 0;
    virtual void modelHasStreams(bool /*video*/, bool /*audio*/) {}
    // Makes a new access-log event, fills it (log().fillAccessLogEvent, then what only this
    // model's events carry), appends it to the model's log and returns it.
    virtual std::shared_ptr<QMMediaAccessLogEvent> modelOpensAccessLogEvent(bool first) = 0;
    // The download figures of `event` (its bytes and observed bitrate are set already) for what
    // only this model's events carry.
    virtual void modelCountsTransfers(QMMediaAccessLogEvent& /*event*/,
                                      const QMGStreamerTransfers& /*figures*/) {}
    virtual void modelLogsError(long statusCode, const std::string& comment, const std::string& domain) = 0;
    virtual void modelFails(const std::string& domain, long code, const std::string& description) = 0;
    virtual void modelEnds() = 0;
    // Seconds into the media where the model's playhead stands.
    virtual double modelPlayhead() const = 0;
    // The driver stops following: the subclass stops observing its model.
    virtual void modelUnobserved() {}

    int64_t startMicros() const { return startMicros_; }
    int64_t readyMicros() const { return readyMicros_; }

  private:
    void pipelineDownloaded(const QMGStreamerDownloads& downloads) override;
    void pipelinePrerolled() override;
    void pipelineBuffering(int percent) override;
    void pipelineStateChanged(GstState current, GstState target) override;
    void pipelineSeeked(double position, double rate) override;
    void pipelineStreamsAnnounced(bool video, bool audio) override;
    void pipelineVariantShown(const std::string& uri, double bitrate) override;
    void pipelineVideoSize(int width, int height) override;
    void pipelineDurationChanged() override;
    void pipelineHTTPWarning(const QMGStreamerProblem& problem) override;
    void pipelineError(const QMGStreamerProblem& problem) override;
    void pipelineEndOfStream() override;
    void pipelineGone() override;

    void becomeReadyIfLoaded();
    // On the app's pipeline: the model made to follow what the app asked of it.
    void followOwner(GstState target);
    void endSeekIfRefilled();
    void openAccessLogEvent();
    // `next`: the variant shown from now on (none: playback is over).
    void closeAccessLogEvent(const std::optional<std::string>& next = std::nullopt);
    void refreshTransfers();
    void fail(const QMGStreamerProblem& problem);
    // Fails with the download failure held back, if one is; returns whether it did.
    bool failIfPending();
    // While a failure is held back: a pipeline whose position stands still has run out.
    void watchProgress();
    void stopWatchingProgress();
    void checkProgress();

    static constexpr double kProgressCheckSeconds = 2.0;

    std::shared_ptr<QMGStreamerPipeline> pipeline_;
    QMGStreamerLogEntries log_;
    bool prerolled_ = false;
    bool buffering_ = false;
    bool ready_ = false;
    bool started_ = false;
    // On the app's pipeline: whether the app has asked it to play yet.
    bool ownerAskedToPlay_ = false;
    // From a seek until the pipeline has prerolled at the new position and refilled.
    bool seeking_ = false;
    bool seekPrerolled_ = false;
    bool over_ = false;
    float rate_ = 1.0f;
    int64_t startMicros_ = 0;
    int64_t readyMicros_ = 0;
    std::optional<CGSize> videoSize_;
    std::shared_ptr<QMMediaAccessLogEvent> currentEvent_;
    // A download failure held back while playback goes on with what is buffered.
    std::unique_ptr<QMGStreamerProblem> pendingFailure_;
    std::shared_ptr<QMError> failure_;
    std::shared_ptr<QMTimer> progressTimer_;
    std::optional<double> lastPosition_;
};

}  // namespace veyrakit
