#include "demo/QMDemoGStreamerMediaPlayback.h"

#include <stdexcept>

#include "core/QMObjectRepository.h"
#include "demo/QMDemoError.h"

namespace veyrakit {

void QMDemoGStreamerMediaPlayback::start(const Settings& settings) {
    pointDiagnosticsAt(settings);
    monitor(settings);
    try {
        driver_ = drive();
    } catch (const std::runtime_error& error) {
        throw QMDemoError(error.what(), QMDemoError::kFailure);
    }
    play();
}

bool QMDemoGStreamerMediaPlayback::mediaOver() const { return !driver_ || driver_->isOver(); }

std::shared_ptr<QMError> QMDemoGStreamerMediaPlayback::failure() const {
    return driver_ ? driver_->failure() : nullptr;
}

void QMDemoGStreamerMediaPlayback::finish() {
    endSession();
    if (driver_) {
        driver_->stop();
        driver_.reset();
    }
    letGoOfSession();
    QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
}

}  // namespace veyrakit
