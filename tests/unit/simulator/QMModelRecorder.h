#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// Writes down, in order, what an observer of a player model sees: every key-value change and
// every notification, as "<ms since the recorder was made> <what> <value>" lines.
class QMModelRecorder : public QMObject {
  public:
    QMModelRecorder();
    ~QMModelRecorder() override;

    void watch(const std::shared_ptr<AVPlayer>& player);
    void watch(const std::shared_ptr<MPMoviePlayerController>& player);
    void unwatch();

    const std::vector<std::string>& lines() const { return lines_; }
    // The lines whose text (after the time) starts with `prefix`.
    std::vector<std::string> linesStartingWith(const std::string& prefix) const;
    void clear() { lines_.clear(); }

    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

  private:
    void record(const std::string& what);

    int64_t originMillis_;
    std::vector<std::string> lines_;
    std::shared_ptr<AVPlayer> player_;
    std::shared_ptr<AVPlayerItem> item_;
    std::shared_ptr<MPMoviePlayerController> mpMoviePlayer_;
};

}  // namespace veyrakit
