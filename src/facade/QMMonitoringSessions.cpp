#include "facade/QMMonitoringSessions.h"

#include <utility>

namespace veyrakit {

namespace {
struct Slots {
    std::shared_ptr<QMVeyraPlugin> currentAVPlayerMonitoringSession;
    std::shared_ptr<QMVeyraPlugin> currentMPMoviePlayerMonitoringSession;
    QMMonitoringSessions::AVPlayerPluginCreator avPlayerCreator;
    QMMonitoringSessions::MPMoviePlayerPluginCreator mpMoviePlayerCreator;
};

Slots& slots() {
    static Slots s;
    return s;
}
}  // namespace

std::shared_ptr<QMVeyraPlugin> QMMonitoringSessions::currentAVPlayerMonitoringSession() {
    return slots().currentAVPlayerMonitoringSession;
}

void QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(std::shared_ptr<QMVeyraPlugin> plugin) {
    // Swap first: the old plugin's destructor must not see a half-updated slot.
    auto old = std::exchange(slots().currentAVPlayerMonitoringSession, std::move(plugin));
}

std::shared_ptr<QMVeyraPlugin> QMMonitoringSessions::currentMPMoviePlayerMonitoringSession() {
    return slots().currentMPMoviePlayerMonitoringSession;
}

void QMMonitoringSessions::setCurrentMPMoviePlayerMonitoringSession(std::shared_ptr<QMVeyraPlugin> plugin) {
    auto old = std::exchange(slots().currentMPMoviePlayerMonitoringSession, std::move(plugin));
}

const QMMonitoringSessions::AVPlayerPluginCreator& QMMonitoringSessions::avPlayerPluginCreator() {
    return slots().avPlayerCreator;
}

void QMMonitoringSessions::setAVPlayerPluginCreator(AVPlayerPluginCreator creator) {
    slots().avPlayerCreator = std::move(creator);
}

const QMMonitoringSessions::MPMoviePlayerPluginCreator& QMMonitoringSessions::mpMoviePlayerPluginCreator() {
    return slots().mpMoviePlayerCreator;
}

void QMMonitoringSessions::setMPMoviePlayerPluginCreator(MPMoviePlayerPluginCreator creator) {
    slots().mpMoviePlayerCreator = std::move(creator);
}

}  // namespace veyrakit
