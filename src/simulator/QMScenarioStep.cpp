#include "simulator/QMScenarioStep.h"

namespace veyrakit {

const char* QMScenarioStep::keyword(QMScenarioAction action) {
    switch (action) {
        case QMScenarioAction::Play:
            return "play";
        case QMScenarioAction::Pause:
            return "pause";
        case QMScenarioAction::Rate:
            return "rate";
        case QMScenarioAction::Ready:
            return "ready";
        case QMScenarioAction::BufferFull:
            return "buffer-full";
        case QMScenarioAction::Seek:
            return "seek";
        case QMScenarioAction::Stall:
            return "stall";
        case QMScenarioAction::Recover:
            return "recover";
        case QMScenarioAction::Bitrate:
            return "bitrate";
        case QMScenarioAction::ServerError:
            return "server-error";
        case QMScenarioAction::Fail:
            return "fail";
        case QMScenarioAction::Stop:
            return "stop";
        case QMScenarioAction::FullScreen:
            return "fullscreen";
        case QMScenarioAction::Window:
            return "window";
        case QMScenarioAction::AirPlay:
            return "airplay";
        case QMScenarioAction::Scaling:
            return "scaling";
        case QMScenarioAction::AdsStart:
            return "ads-start";
        case QMScenarioAction::AdsStop:
            return "ads-stop";
        case QMScenarioAction::StopPlayback:
            return "stop-playback";
        case QMScenarioAction::FaultReport:
            return "fault-report";
    }
    return "?";
}

bool QMScenarioStep::isHostStep(QMScenarioPlayerKind kind) const {
    switch (action) {
        case QMScenarioAction::AdsStart:
        case QMScenarioAction::AdsStop:
        case QMScenarioAction::StopPlayback:
        case QMScenarioAction::FaultReport:
            return true;
        case QMScenarioAction::FullScreen:
        case QMScenarioAction::Window:
            // An AVPlayer has no full screen of its own: the application reports it.
            return kind == QMScenarioPlayerKind::AVPlayer;
        default:
            return false;
    }
}

}  // namespace veyrakit
