#include "soak/QMSoakServer.h"

namespace veyrakit {

namespace {

const char* const kPlaylist =
    "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=400000,RESOLUTION=640x360\nlow.m3u8\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=3000000,RESOLUTION=1920x1080\nhigh.m3u8\n";

}  // namespace

void QMSoakServer::install(QMURLStubRegistry& stubs) {
    stubs.addStub(QMURLStubRegistry::urlEndsWith("/player/init"),
                  [this](const QMURLRequest&) { return sessionStartAnswer(); });
    stubs.addStub(QMURLStubRegistry::urlEndsWith("/player/report"),
                  [this](const QMURLRequest&) { return reportAnswer(); });
    stubs.addStub(QMURLStubRegistry::urlEndsWith(".m3u8"),
                  [this](const QMURLRequest&) { return delayed(QMStubResponse::json(kPlaylist)); });
    // Both diagnostic streams: whatever else is posted.
    stubs.addStub([](const QMURLRequest&) { return true; },
                  [this](const QMURLRequest&) { return diagnosticAnswer(); });
}

bool QMSoakServer::chance(int perMille) { return static_cast<int>(random_() % 1000) < perMille; }

QMStubResponse QMSoakServer::delayed(QMStubResponse response) {
    response.delayMillis = static_cast<int64_t>(random_() % 400);
    return response;
}

QMStubResponse QMSoakServer::sessionStartAnswer() {
    if (chance(40)) {
        ++faults_.failures;
        return delayed(QMStubResponse::fail());
    }
    if (chance(60)) {
        // Throttled: the client tries once more after an interval, then gives the session up.
        ++faults_.throttles;
        return delayed(QMStubResponse::json(R"({"intervalSeconds":10000,"skipReports":"1"})"));
    }
    ++sessions_;
    return delayed(QMStubResponse::json(R"({"sessionId":"SOAK-)" + std::to_string(sessions_) +
                                        R"(","intervalSeconds":10000,"skipReports":0})"));
}

QMStubResponse QMSoakServer::reportAnswer() {
    if (chance(30)) {
        ++faults_.failures;
        return delayed(QMStubResponse::fail());
    }
    if (chance(30)) {
        ++faults_.skips;
        return delayed(QMStubResponse::json("", 503));
    }
    if (chance(30)) {
        ++faults_.throttles;
        return delayed(QMStubResponse::json(R"({"skipReports":)" + std::to_string(1 + random_() % 3) + "}"));
    }
    return delayed(QMStubResponse::json(R"({"skipReports":0})"));
}

QMStubResponse QMSoakServer::diagnosticAnswer() {
    if (chance(30)) {
        ++faults_.failures;
        return delayed(QMStubResponse::fail());
    }
    return delayed(QMStubResponse::json("{}"));
}

}  // namespace veyrakit
