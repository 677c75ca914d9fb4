#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "collector/QMCollectorOptions.h"
#include "collector/QMCollectorServer.h"

using namespace veyrakit;

namespace {

// Blocks the stop signals in every thread, so that main can wait for them with sigwait.
sigset_t blockStopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

int serve(const QMCollectorOptions& options) {
    sigset_t signals = blockStopSignals();
    QMCollectorServer server(options.server);
    if (!options.quiet) {
        server.setObserver([](const QMCollectorRequestEvent& event) {
            std::printf("%s\n", event.describe().c_str());
            std::fflush(stdout);
        });
    }
    server.start();
    std::printf("veyrakit-collector listening on %s (diagnostics %s, %s), database %s\n",
                server.baseURL().c_str(), server.diagnosticEventsURL().c_str(),
                server.sessionEventsURL().c_str(), options.server.databasePath.c_str());
    std::printf("dashboard: %s\n", server.dashboardURL().c_str());
    std::fflush(stdout);
    int received = 0;
    sigwait(&signals, &received);
    server.stop();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    QMCollectorOptions options;
    try {
        options = QMCollectorOptions::parse(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const QMCollectorOptions::Error& error) {
        std::fprintf(stderr, "veyrakit-collector: %s\nTry 'veyrakit-collector --help'.\n", error.what());
        return 2;
    }
    if (options.help) {
        std::fputs(QMCollectorOptions::usage().c_str(), stdout);
        return 0;
    }
    try {
        return serve(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "veyrakit-collector: %s\n", error.what());
        return 1;
    }
}
