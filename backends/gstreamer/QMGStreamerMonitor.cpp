#include "veyrakit/gstreamer/QMGStreamerMonitor.h"

#include <utility>

#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/gstreamer/QMGStreamerAVPlayerDriver.h"
#include "veyrakit/gstreamer/QMGStreamerMPMoviePlayerDriver.h"
#include "veyrakit/gstreamer/QMGStreamerPipeline.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

// The facade keeps one AVPlayer plugin: the monitor that started the newest AVPlayer session is
// the one whose session the facade's stopPlayback ends.
const QMGStreamerMonitor* avPlayerSessionOwner = nullptr;

std::string withoutQuery(const std::string& uri) { return uri.substr(0, uri.find_first_of("?#")); }

// The last path segment of `uri` that says what the asset is: "talk.mp4", or "harbour" for
// ".../harbour/master.m3u8", whose file is a generic playlist name.
std::string assetNameOf(const std::string& uri) {
    std::string path = withoutQuery(uri);
    const auto schemeEnd = path.find("://");
    if (schemeEnd != std::string::npos) {
        const auto pathStart = path.find('/', schemeEnd + 3);
        path = pathStart == std::string::npos ? std::string() : path.substr(pathStart);
    }
    std::string last;
    std::string name;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string segment = path.substr(start, end - start);
        if (!segment.empty()) {
            name = last;
            last = segment;
        }
        start = end + 1;
    }
    for (const char* generic : {"master.m3u8", "index.m3u8", "playlist.m3u8", "manifest.mpd"}) {
        if (last == generic && !name.empty()) return name;
    }
    return last.empty() ? uri : last;
}

template <typename T>
void fill(std::optional<T>& field, const std::optional<T>& fallback) {
    if (!field) field = fallback;
}

}  // namespace

QMSessionDescription QMGStreamerMonitor::completed(QMSessionDescription described,
                                                   const QMSessionDescription& defaults,
                                                   const std::string& uri) {
    fill(described.assetId, defaults.assetId);
    fill(described.serverHost, defaults.serverHost);
    fill(described.qmrCID, defaults.qmrCID);
    fill(described.assetType, defaults.assetType);
    fill(described.assetName, defaults.assetName);
    fill(described.viewerId, defaults.viewerId);
    fill(described.assetMetadata, defaults.assetMetadata);
    fill(described.viewerMetadata, defaults.viewerMetadata);
    fill(described.assetId, std::optional<std::string>(withoutQuery(uri)));
    fill(described.assetName, std::optional<std::string>(assetNameOf(uri)));
    fill(described.assetType, std::optional<std::string>("VOD"));
    return described;
}

std::shared_ptr<QMGStreamerMonitor> QMGStreamerMonitor::attach(GstElement* playbin, Options options) {
    auto monitor = std::make_shared<QMGStreamerMonitor>(std::move(options));
    monitor->pipeline_ = QMGStreamerPipeline::attach(playbin);
    monitor->pipeline_->addListener(monitor.get());
    // A pipeline already under way has its session at once.
    monitor->pipeline_->announceCurrentState();
    return monitor;
}

QMGStreamerMonitor::QMGStreamerMonitor(Options options) : options_(std::move(options)) {}

QMGStreamerMonitor::~QMGStreamerMonitor() { detach(); }

void QMGStreamerMonitor::detach() {
    endSession();
    if (pipeline_) {
        pipeline_->removeListener(this);
        pipeline_->close();
        pipeline_.reset();
    }
}

bool QMGStreamerMonitor::isAttached() const { return pipeline_ && pipeline_->isOpen(); }

bool QMGStreamerMonitor::isMonitoring() const { return driver_ && !driver_->isOver(); }

void QMGStreamerMonitor::pipelineStateChanged(GstState, GstState target) {
    if (target <= GST_STATE_READY) {
        endSession();
    } else if (!driver_) {
        startSession();
    }
}

void QMGStreamerMonitor::pipelineEndOfStream() { endedByMedia_ = true; }

void QMGStreamerMonitor::pipelineError(const QMGStreamerProblem&) { endedByMedia_ = true; }

void QMGStreamerMonitor::pipelineGone() {
    endSession();
    pipeline_.reset();
}

void QMGStreamerMonitor::startSession() {
    const auto uri = pipeline_ ? pipeline_->uri() : std::nullopt;
    if (!uri) {
        return;
    }
    QMSessionDescription description = completed(
        options_.describe ? options_.describe(*uri) : QMSessionDescription{}, options_.defaults, *uri);
    endedByMedia_ = false;
    ++sessions_;
    auto url = QMURL::URLWithString(*uri);
    if (options_.player == PlayerKind::AVPlayer) {
        auto player = AVPlayer::playerWithURL(url);
        driver_ = QMGStreamerAVPlayerDriver::driverFollowing(pipeline_, player);
        avPlayerSessionOwner = this;
        QMVeyraKit::pluginWithAVPlayer(player, description);
    } else {
        auto player = std::make_shared<MPMoviePlayerController>(url);
        driver_ = QMGStreamerMPMoviePlayerDriver::driverFollowing(pipeline_, player);
        QMVeyraKit::pluginWithMPMoviePlayerController(player, description);
    }
    // The driver catches up with what the pipeline is doing now.
    pipeline_->announceCurrentState();
}

void QMGStreamerMonitor::endSession() {
    if (!driver_) {
        return;
    }
    auto driver = std::move(driver_);
    // The model shows the viewer leaving; the movie player's plugin ends its session on that.
    driver->leave();
    if (options_.player == PlayerKind::AVPlayer && avPlayerSessionOwner == this) {
        avPlayerSessionOwner = nullptr;
        if (!endedByMedia_) {
            QMVeyraKit::endAVPlayerMonitoring();
        } else {
            // The app is done with the item: as a host's stop, it ends the diagnostic reporter,
            // which the session's own end leaves running.
            QMVeyraKit::stopPlayback();
        }
    }
}

}  // namespace veyrakit
