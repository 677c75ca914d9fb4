#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "platform/QMURLSession.h"
#include "support/QMFaultServer.h"
#include "unit/avplayer/QMAVPlayerSessionTest.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/platform/QMURLLoadingLimits.h"

namespace veyrakit {

// Every kind of request the SDK makes, against a loopback server that answers it with one fault
// at a time, over real sockets on the virtual clock (it stands still while a request is on the
// wire). Each case checks what the server saw (attempts), what the SDK logged and what became of
// the session; that the process lives through it is the rest.

namespace {

using Reply = QMFaultServer::Reply;

enum class Kind { SessionStart, Periodical, OnDemand, LogReport, SessionEvents, DiagnosticEvents, Playlist };
enum class Fault {
    Refused,
    Reset,
    Garbage,
    NotJSON,
    Array,
    Null,
    Nested,
    Large,
    Trickle,
    ShortBody,
    S204,
    S301,
    S500,
    S503
};

// How the SDK sees a fault: the exchange fails, it completes with a status other than 200, or
// it completes with 200 and a body it cannot use.
enum class Seen { TransportFailure, Status, UselessBody };

Seen seenAs(Fault fault) {
    switch (fault) {
        case Fault::Refused:
        case Fault::Reset:
        case Fault::Garbage:
        case Fault::Large:
        case Fault::Trickle:
        case Fault::ShortBody:
            return Seen::TransportFailure;
        case Fault::S204:
        case Fault::S301:
        case Fault::S500:
        case Fault::S503:
            return Seen::Status;
        default:
            return Seen::UselessBody;
    }
}

int statusOf(Fault fault) {
    static const std::map<Fault, int> statuses = {
        {Fault::S204, 204}, {Fault::S301, 301}, {Fault::S500, 500}, {Fault::S503, 503}};
    return statuses.count(fault) ? statuses.at(fault) : 200;
}

Reply replyFor(Fault fault) {
    switch (fault) {
        case Fault::Reset:
            return Reply::reset();
        case Fault::Garbage:
            return Reply::garbage();
        case Fault::NotJSON:
            return Reply::answer(200, "<html>not JSON</html>");
        case Fault::Array:
            return Reply::answer(200, R"([{"sessionId":"S-1"}])");
        case Fault::Null:
            return Reply::answer(200, "null");
        case Fault::Nested:
            return Reply::answer(200, std::string(100'000, '[') + std::string(100'000, ']'));
        case Fault::Large:
            return Reply::unannounced(std::size_t{8} << 20);
        case Fault::Trickle:
            return Reply::trickle(R"({"sessionId":"S-1"})" + std::string(80, ' '), 25);
        case Fault::ShortBody:
            return Reply::shortBody();
        case Fault::S301:
            return Reply::answer(301, "", "Location: /elsewhere\r\n");
        default:
            return Reply::answer(statusOf(fault), "{}");
    }
}

struct Case {
    Kind kind;
    Fault fault;
};

class FaultMatrix : public QMAVPlayerSessionTest, public ::testing::WithParamInterface<Case> {
  protected:
    void SetUp() override {
        QMAVPlayerSessionTest::SetUp();
        stubs().disable();                                   // libcurl on the virtual loop
        QMURLLoadingLimits::setDefaultTimeoutInterval(0.8);  // room for a sanitizer build
    }
    void TearDown() override {
        if (simulator) {
            simulator->stop();
        }
        QMVeyraKit::pluginWithMPMoviePlayerController(nullptr, "A-1", "C-1", std::nullopt, "Name",
                                                      std::nullopt, std::nullopt, std::nullopt);
        QMAVPlayerSessionTest::TearDown();
        QMDiagnosticCollectors::setSessionEventsURL(std::nullopt);
        QMDiagnosticCollectors::setDiagnosticEventsURL(std::nullopt);
        QMURLLoadingLimits::reset();
        server.stop();
        media.stop();
    }

    // The request the case faults, as the server keys it.
    static std::string keyOf(Kind kind) {
        static const std::map<Kind, std::string> keys = {
            {Kind::SessionStart, "POST /player/init"},
            {Kind::Periodical, "POST /player/report P"},
            {Kind::OnDemand, "POST /player/report J"},
            {Kind::LogReport, "POST /player/report L"},
            {Kind::SessionEvents, "POST /sessionEventsHandler/sessions"},
            {Kind::DiagnosticEvents, "POST /veyrakit/"},
            {Kind::Playlist, "GET /vod/master.m3u8"}};
        return keys.at(kind);
    }

    // Plays 12 s of a session whose faulted request meets the case's fault.
    void play(const Case& c) {
        const std::string refused = "http://127.0.0.1:" + std::to_string(QMFaultServer::closedPort());
        const bool refuse = c.fault == Fault::Refused;
        const std::string logSwitches =
            c.kind == Kind::LogReport ? R"(,"logQueueSize":10,"sendLog":true)" : "";
        server.reply(
            "POST /player/init",
            {Reply::answer(200, R"({"sessionId":"S-1","intervalSeconds":10000)" + logSwitches + "}")});
        if (refuse && c.kind != Kind::SessionStart && c.kind < Kind::SessionEvents) {
            server.refuseAfter("POST /player/report S");  // the reports that follow find no server
        } else if (!refuse) {
            (c.kind == Kind::Playlist ? media : server).reply(keyOf(c.kind), {replyFor(c.fault)});
        }
        const bool refuseHere = refuse && (c.kind == Kind::SessionStart || c.kind >= Kind::SessionEvents);
        QMDiagnosticCollectors::setSessionEventsURL(
            (refuseHere && c.kind == Kind::SessionEvents ? refused : server.url("")) +
            "/sessionEventsHandler/sessions");
        QMDiagnosticCollectors::setDiagnosticEventsURL(
            (refuseHere && c.kind == Kind::DiagnosticEvents ? refused : server.url("")) + "/veyrakit/");
        const std::string serverHost = refuseHere && c.kind == Kind::SessionStart ? refused : server.url("");
        const std::string mediaHost = refuseHere && c.kind == Kind::Playlist ? refused : media.url("");
        const bool movie = c.kind == Kind::DiagnosticEvents;
        simulator = QMPlayerSimulator::simulatorWithScenario(
            QMScenarioParser::parse(std::string(movie ? "player mpmovieplayer\n" : "") + "url " + mediaHost +
                                    "/vod/master.m3u8\nduration 1:00\nvariant 800000 640x360\n"
                                    "at 0:00 play\nat 0:01 ready\n" +
                                    (movie ? "" : "at 0:12 stop-playback\n") + "at 0:12 stop\n"),
            std::make_shared<QMFacadeSimulatorHost>());
        if (movie) {
            QMVeyraKit::pluginWithMPMoviePlayerController(simulator->mpMoviePlayer(), "A-1", serverHost,
                                                          "C-1", std::nullopt, "Name", "V-1", std::nullopt,
                                                          std::nullopt);
        } else {
            QMVeyraKit::pluginWithAVPlayer(simulator->player(), "A-1", serverHost, "C-1", std::nullopt,
                                           "Name", "V-1", std::nullopt, std::nullopt);
        }
        simulator->start();
        runFor(20'000);
        QMURLSession::sharedSession()->waitForIdle();
    }

    // Every distinct body of `key` arrived exactly `times` times; returns how many there were.
    std::size_t expectEachBodyArrived(const QMFaultServer& at, const std::string& key, int times) const {
        const auto counts = at.bodyCounts(key);
        for (const auto& [body, n] : counts) {
            EXPECT_EQ(n, times) << key << " " << body.substr(0, 200);
        }
        return counts.size();
    }
    long countStarting(const std::string& prefix) const {
        const auto lines = logs();
        return std::count_if(lines.begin(), lines.end(),
                             [&](const auto& l) { return l.rfind(prefix, 0) == 0; });
    }

    QMFaultServer server;
    QMFaultServer media;  // the playlist's own host: its one GET is always on a fresh connection
};

TEST_P(FaultMatrix, TheSDKKeepsItsAttemptsAndTheHostLivesOn) {
    const Case c = GetParam();
    play(c);
    const Seen seen = seenAs(c.fault);
    const bool refused = c.fault == Fault::Refused;
    const std::string key = keyOf(c.kind);
    const int reports = server.count("POST /player/report P");
    switch (c.kind) {
        case Kind::SessionStart:
            // Four attempts for a failed exchange, one for any answer; every fault ends the session.
            EXPECT_EQ(server.count(key), refused ? 0 : seen == Seen::TransportFailure ? 4 : 1);
            EXPECT_EQ(count("I IR get session id from server - didFailWithError:QMVeyraPlugin"),
                      seen == Seen::TransportFailure ? 3 : 0);
            EXPECT_EQ(count("E X Cannot connect to server."), seen == Seen::TransportFailure ? 1 : 0);
            EXPECT_EQ(count("E X HTTP response code non-200 received. Agent will shutdown"),
                      seen == Seen::Status ? 1 : 0);
            EXPECT_EQ(count("E X sessionID is null"), seen == Seen::UselessBody ? 1 : 0);
            EXPECT_TRUE(plugin()->destroyed());
            EXPECT_EQ(server.count("POST /player/report"), 0);
            break;
        case Kind::Periodical:
            // Never retried: each report goes out once, and the session goes on to its end.
            EXPECT_GE(expectEachBodyArrived(server, key, 1), refused ? 0u : 3u);
            EXPECT_EQ(count("E PR Error") >= 2, seen == Seen::TransportFailure);
            EXPECT_EQ(count("I PR Periodical received non-200 response") >= 2, seen == Seen::Status);
            EXPECT_EQ(countStarting("I P "), 3);  // at start, at 0:10, and the last one at the stop
            EXPECT_EQ(count("E X Cannot start session."), 0);
            break;
        case Kind::OnDemand:
        case Kind::LogReport: {
            // Four attempts for a failed exchange, one for any answer; the session goes on.
            const std::size_t bodies =
                expectEachBodyArrived(server, key, seen == Seen::TransportFailure ? 4 : 1);
            EXPECT_GE(bodies, refused ? 0u : 1u);
            EXPECT_EQ(count("I IR Reporter retry :  2") >= 1, seen == Seen::TransportFailure);
            // The status line goes into the log queue itself, so log reports may show it again.
            const long statusLines =
                count("I X Reporter received non-200 response code:" + std::to_string(statusOf(c.fault)));
            const bool failedStatus = seen == Seen::Status && statusOf(c.fault) >= 300;
            EXPECT_EQ(c.kind == Kind::OnDemand ? statusLines == 1 : statusLines >= 1, failedStatus);
            EXPECT_EQ(reports >= 2, !refused);
            break;
        }
        case Kind::SessionEvents:
        case Kind::DiagnosticEvents:
            // Posted once a second, never retried; nothing else depends on them.
            // The movie player's handler posts only when it has new events: the start and the stop.
            EXPECT_GE(expectEachBodyArrived(server, key, 1), refused                         ? 0u
                                                             : c.kind == Kind::SessionEvents ? 5u
                                                                                             : 2u);
            EXPECT_EQ(reports,
                      c.kind == Kind::DiagnosticEvents ? 2 : 3);  // no last report from a movie player
            break;
        case Kind::Playlist:
            EXPECT_EQ(media.count(key), refused ? 0 : 1);
            EXPECT_EQ(reports, 3);
            break;
    }
}

std::vector<Case> allCases() {
    std::vector<Case> cases;
    for (int k = 0; k <= static_cast<int>(Kind::Playlist); ++k) {
        for (int f = 0; f <= static_cast<int>(Fault::S503); ++f) {
            cases.push_back({static_cast<Kind>(k), static_cast<Fault>(f)});
        }
    }
    return cases;
}

std::string caseName(const ::testing::TestParamInfo<Case>& info) {
    static const char* kinds[] = {"SessionStart",  "Periodical",       "OnDemand", "LogReport",
                                  "SessionEvents", "DiagnosticEvents", "Playlist"};
    static const char* faults[] = {"Refused", "Reset",   "Garbage",   "NotJSON", "Array", "Null", "Nested",
                                   "Large",   "Trickle", "ShortBody", "S204",    "S301",  "S500", "S503"};
    return std::string(kinds[static_cast<int>(info.param.kind)]) + "_" +
           faults[static_cast<int>(info.param.fault)];
}

INSTANTIATE_TEST_SUITE_P(AllRequests, FaultMatrix, ::testing::ValuesIn(allCases()), caseName);

}  // namespace

}  // namespace veyrakit
