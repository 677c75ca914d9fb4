#pragma once
#include <csignal>

namespace veyrakit {

// Ctrl-C (SIGINT) during a run of real media: the first one asks the run to end its session
// cleanly, so that the summary and the checks still print; the handler is then the default
// again, so a second one ends the process. Installed while an instance lives (one at a time),
// the previous handler put back when it goes.
class QMDemoInterruption {
  public:
    QMDemoInterruption();
    ~QMDemoInterruption();
    QMDemoInterruption(const QMDemoInterruption&) = delete;
    QMDemoInterruption& operator=(const QMDemoInterruption&) = delete;

    // A SIGINT arrived since this instance was made.
    bool requested() const;

  private:
    static void onSignal(int signal);
    struct sigaction previous_ {};
};

}  // namespace veyrakit
