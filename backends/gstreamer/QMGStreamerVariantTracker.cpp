#include "QMGStreamerVariantTracker.h"

namespace veyrakit {

void QMGStreamerVariantTracker::setMasterPlaylist(const std::string& text, const std::string& uri) {
    auto playlist = QMGStreamerMasterPlaylist::parse(text, uri);
    std::lock_guard<std::mutex> lock(mutex_);
    playlist_ = std::move(playlist);
    hasPlaylist_ = !playlist_.variants().empty();
}

bool QMGStreamerVariantTracker::hasMasterPlaylist() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return hasPlaylist_;
}

void QMGStreamerVariantTracker::announce(const std::string& uri, double bitrate) {
    std::lock_guard<std::mutex> lock(mutex_);
    Variant variant = playlist_.variantNamed(uri).value_or(Variant{});
    variant.uri = uri;
    variant.bitrate = bitrate;
    announced_ = variant;
}

std::optional<QMGStreamerVariantTracker::Variant> QMGStreamerVariantTracker::variantOf(int width,
                                                                                       int height) const {
    const auto sized = playlist_.variantsSized(width, height);
    if (sized.size() == 1) {
        // Named as the demuxer names it when it announced this one.
        if (announced_ && playlist_.variantNamed(announced_->uri) &&
            playlist_.variantNamed(announced_->uri)->uri == sized.front().uri)
            return announced_;
        return sized.front();
    }
    if (announced_) return announced_;
    if (!sized.empty()) return sized.front();
    if (!playlist_.variants().empty()) return playlist_.variants().front();
    return std::nullopt;
}

void QMGStreamerVariantTracker::fragmentStarted(int64_t pts, int width, int height) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (auto variant = variantOf(width, height)) {
        queued_.emplace_back(pts, *variant);
        queuedCount_.store(queued_.size(), std::memory_order_release);
    }
}

std::optional<QMGStreamerVariantTracker::Variant> QMGStreamerVariantTracker::pictureShown(int64_t pts) {
    if (queuedCount_.load(std::memory_order_acquire) == 0) {
        return std::nullopt;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    std::optional<Variant> reached;
    while (!queued_.empty() && queued_.front().first <= pts) {
        reached = queued_.front().second;
        queued_.pop_front();
    }
    queuedCount_.store(queued_.size(), std::memory_order_release);
    if (!reached || (shown_ && shown_->uri == reached->uri)) {
        return std::nullopt;
    }
    shown_ = reached;
    return shown_;
}

std::string QMGStreamerVariantTracker::downloading() const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (announced_) return announced_->uri;
    return playlist_.variants().empty() ? std::string() : playlist_.variants().front().uri;
}

void QMGStreamerVariantTracker::flush() {
    std::lock_guard<std::mutex> lock(mutex_);
    queued_.clear();
    queuedCount_.store(0, std::memory_order_release);
}

}  // namespace veyrakit
