#pragma once
#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

#include "QMGStreamerMasterPlaylist.h"

namespace veyrakit {

// Which HLS variant the viewer sees, as opposed to which one the demuxer is downloading: the
// demuxer switches variants seconds (with a slow link, tens of seconds) before their pictures are
// shown. Each fragment the demuxer hands on is told here with the timestamp of its first picture
// and its picture size; each picture that reaches the video sink is told with its timestamp; the
// variant shown changes when the first picture of a fragment of another variant is shown.
//
// A fragment's variant is the one of the master playlist with its picture size when only one has
// it, else the variant the demuxer announced last, else (before any announcement: the demuxer
// starts with the first variant listed without announcing it) the first one listed.
// Called from GStreamer's streaming threads; every call is safe from any thread.
class QMGStreamerVariantTracker {
  public:
    using Variant = QMGStreamerMasterPlaylist::Variant;

    // The master playlist's text and where it came from.
    void setMasterPlaylist(const std::string& text, const std::string& uri);
    bool hasMasterPlaylist() const;
    // The demuxer switched to (or started with) the variant playlist `uri` of `bitrate`.
    void announce(const std::string& uri, double bitrate);
    // A fragment starts at `pts` (nanoseconds) with pictures of `width` x `height` (0 x 0: none).
    void fragmentStarted(int64_t pts, int width, int height);
    // A picture with `pts` reaches the video sink: the variant now shown, when it changed.
    std::optional<Variant> pictureShown(int64_t pts);
    // The variant the demuxer downloads now ("" when there are none): the last one announced, else
    // the first listed.
    std::string downloading() const;
    // A seek flushed what was queued: its fragments will not be shown.
    void flush();

  private:
    std::optional<Variant> variantOf(int width, int height) const;

    mutable std::mutex mutex_;
    QMGStreamerMasterPlaylist playlist_;
    bool hasPlaylist_ = false;
    std::optional<Variant> announced_;
    std::deque<std::pair<int64_t, Variant>> queued_;
    // Read on every picture without the lock: most pictures start no fragment.
    std::atomic<std::size_t> queuedCount_{0};
    std::optional<Variant> shown_;
};

}  // namespace veyrakit
