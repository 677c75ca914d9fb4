#include "demo/QMDemoInterruption.h"

#include <atomic>

namespace veyrakit {

namespace {

// Lock-free, so the signal handler may set it.
std::atomic<bool> interrupted{false};

}  // namespace

QMDemoInterruption::QMDemoInterruption() {
    interrupted = false;
    struct sigaction action {};
    action.sa_handler = &QMDemoInterruption::onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGINT, &action, &previous_);
}

QMDemoInterruption::~QMDemoInterruption() { sigaction(SIGINT, &previous_, nullptr); }

bool QMDemoInterruption::requested() const { return interrupted; }

void QMDemoInterruption::onSignal(int) { interrupted = true; }

}  // namespace veyrakit
