#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/QMFaultServer.h"

namespace veyrakit {

// The whole demo process, run as a host would run it, against a collector whose every answer to
// the SDK is 50 MB: the answer limit of URL loading keeps its peak resident memory bounded.

namespace {

using Reply = QMFaultServer::Reply;

struct DemoRunResult {
    long peakKiB = 0;
    int status = -1;
    std::string output;
};

DemoRunResult runDemo(const QMFaultServer& server) {
    const std::string port = std::to_string(server.port());
    const std::string out = "/tmp/veyrakit-demo-memory-" + std::to_string(getpid()) + ".txt";
    const pid_t child = fork();
    if (child == 0) {
#if VEYRAKIT_SANITIZED
        // AddressSanitizer keeps freed memory in a quarantine (256 MB by default) to catch uses
        // after free; that memory is the sanitizer's, not the demo's, so keep it small here.
        const char* options = std::getenv("ASAN_OPTIONS");
        setenv("ASAN_OPTIONS", (std::string(options ? options : "") + ":quarantine_size_mb=1").c_str(), 1);
#endif
        std::freopen(out.c_str(), "w", stdout);
        std::freopen(out.c_str(), "a", stderr);
        execl(VEYRAKIT_DEMO_BINARY, VEYRAKIT_DEMO_BINARY, "--server", ("http://127.0.0.1:" + port).c_str(),
              "--diag-ports", (port + "," + port).c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    DemoRunResult run;
    rusage usage{};
    int status = 0;
    wait4(child, &status, 0, &usage);
    run.peakKiB = usage.ru_maxrss;
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (FILE* file = std::fopen(out.c_str(), "r")) {
        char buffer[4096];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;) {
            run.output.append(buffer, n);
        }
        std::fclose(file);
    }
    std::remove(out.c_str());
    return run;
}

TEST(DemoAnswerMemory, FiftyMegabyteAnswersLeaveThePeakBelowSixtyFourMegabytes) {
    QMFaultServer server;
    server.reply("GET /api/sessions", {Reply::answer(200, R"({"sessions":[]})")});
    server.reply("POST /player/init", {Reply::answer(200, R"({"sessionId":"S-1","intervalSeconds":10000})")});
    const Reply huge = Reply::unannounced(std::size_t{50} << 20);
    for (const char* key :
         {"POST /player/report", "POST /sessionEventsHandler/sessions", "POST /veyrakit/"}) {
        server.reply(key, {huge});
    }
    // A failed session start report would end the session before the periodical reports begin.
    server.reply("POST /player/report S", {Reply::answer(200, "{}")});
    const DemoRunResult run = runDemo(server);

    EXPECT_GE(server.count("POST /player/report P"), 20);  // it played on through every failed answer
    EXPECT_EQ(run.status, 1) << run.output;
    std::printf("%s", run.output.substr(run.output.rfind("Problem:")).c_str());
    EXPECT_NE(run.output.find("; the collector stopped answering: POST /player/report met an answer over the "
                              "size limit\n"),
              std::string::npos)
        << run.output;
#if VEYRAKIT_SANITIZED
    // The sanitizers' own shadow memory comes on top: bound the growth instead.
    QMFaultServer small;
    small.reply("GET /api/sessions", {Reply::answer(200, R"({"sessions":[]})")});
    small.reply("POST /player/init", {Reply::answer(200, R"({"sessionId":"S-1","intervalSeconds":10000})")});
    const long baselineKiB = runDemo(small).peakKiB;
    EXPECT_LT(run.peakKiB - baselineKiB, 48 * 1024)
        << "peak " << run.peakKiB << " KiB, baseline " << baselineKiB;
#else
    EXPECT_LT(run.peakKiB, 64 * 1024) << "peak resident memory " << run.peakKiB << " KiB";
#endif
    std::printf("demo peak resident memory with 50 MB answers: %ld KiB\n", run.peakKiB);
}

}  // namespace

}  // namespace veyrakit
