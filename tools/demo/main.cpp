#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "demo/QMDemoError.h"
#include "demo/QMDemoOptions.h"
#include "demo/QMDemoRunner.h"
#include "demo/QMDemoSummaryPrinter.h"

using namespace veyrakit;

namespace {

int usageError(const std::string& message) {
    std::fprintf(stderr, "veyrakit-demo: %s\nTry 'veyrakit-demo --help'.\n", message.c_str());
    return QMDemoError::kUsage;
}

void printOutcome(const QMDemoRunner::Result& result, bool json) {
    if (json) {
        std::cout << result.toJSON().dump(2) << std::endl;
        return;
    }
    std::cout << "\n";
    if (result.analysis) {
        std::cout << QMDemoSummaryPrinter::summaryTable(*result.analysis) << "\n"
                  << QMDemoSummaryPrinter::checkList(*result.analysis);
    }
    if (result.ended) {
        std::cout << "Playback: " << result.playbackLine() << " ("
                  << (result.assetType == "LIVE" ? "live" : "on demand") << ")\n";
    }
    if (result.problem) std::cout << "Problem: " << *result.problem << "\n";
    std::cout << (result.passed() ? "PASSED" : "FAILED") << std::endl;
}

void printDashboard(const QMDemoRunner::Result& result, const QMDemoOptions& options) {
    // With --json stdout carries the JSON document alone.
    std::ostream& out = options.json ? std::cerr : std::cout;
    if (options.keepServing) {
        out << "Dashboard: " << result.dashboardURL << " (the collector keeps serving; Ctrl-C ends it)"
            << std::endl;
    } else if (options.serverURL) {
        out << "Dashboard: " << result.dashboardURL << std::endl;
    } else {
        out << "Dashboard: served while the session ran; --keep-serving keeps it open after the run"
            << std::endl;
    }
}

}  // namespace

int main(int argc, char** argv) {
    QMDemoOptions options;
    try {
        options = QMDemoOptions::parse(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const QMDemoOptions::Error& error) {
        return usageError(error.what());
    }
    if (options.help) {
        std::cout << QMDemoOptions::usage();
        return 0;
    }
    try {
        // With --json stdout carries the JSON document alone.
        QMDemoRunner runner(options, options.json ? std::cerr : std::cout);
        auto result = runner.run();
        printOutcome(result, options.json);
        printDashboard(result, options);
        runner.serveUntilInterrupted();
        return result.passed() ? 0 : 1;
    } catch (const QMDemoError& error) {
        std::fprintf(stderr, "veyrakit-demo: %s\n", error.what());
        return error.exitStatus();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "veyrakit-demo: %s\n", error.what());
        return 1;
    }
}
