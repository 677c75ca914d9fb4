#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "demo/QMDemoError.h"
#include "demo/QMDemoOptions.h"
#include "demo/QMDemoRemoteCollector.h"
#include "demo/QMDemoRunner.h"

namespace veyrakit {

namespace {

std::string parseError(const std::vector<std::string>& arguments) {
    try {
        QMDemoOptions::parse(arguments);
    } catch (const QMDemoOptions::Error& error) {
        return error.what();
    }
    return "accepted";
}

// The message and exit status the run stops with before anything is played.
std::pair<std::string, int> runError(const std::vector<std::string>& arguments) {
    std::ostringstream progress;
    try {
        QMDemoRunner(QMDemoOptions::parse(arguments), progress).run();
    } catch (const QMDemoError& error) {
        EXPECT_EQ(progress.str(), "");
        return {error.what(), error.exitStatus()};
    }
    return {"ran", 0};
}

std::string scenarioFile(const std::string& name) {
    return (std::filesystem::path(QMDemoOptions::defaultScenarioPath()).parent_path() / name).string();
}

}  // namespace

TEST(DemoOptions, DefaultsAndEveryOptionInBothSpellings) {
    auto defaults = QMDemoOptions::parse({});
    EXPECT_TRUE(std::filesystem::exists(defaults.scenarioPath)) << defaults.scenarioPath;
    EXPECT_TRUE(defaults.scenarioPath.ends_with("/scenarios/vod-default.scenario"));
    EXPECT_FALSE(defaults.player || defaults.serverURL || defaults.policyPath || defaults.speed);
    EXPECT_FALSE(defaults.realtime || defaults.json || defaults.verbose || defaults.help);

    auto options =
        QMDemoOptions::parse({"--scenario=live.scenario", "--player", "mpmovieplayer", "--speed=2.5",
                              "--json", "--verbose", "--server", "https://collector.example:8443/base/"});
    EXPECT_EQ(options.scenarioPath, "live.scenario");
    EXPECT_EQ(options.player, QMDemoOptions::Player::MPMoviePlayer);
    EXPECT_EQ(options.speed, 2.5);
    EXPECT_TRUE(options.json && options.verbose);
    EXPECT_EQ(options.serverURL, "https://collector.example:8443/base");  // the SDK adds "/player/..."
    EXPECT_EQ(std::make_pair(options.diagnosticEventsPort, options.sessionEventsPort),
              std::make_pair(8081, 8082));
    auto ports = QMDemoOptions::parse({"--server", "http://[::1]:8080", "--diag-ports=9081,9082"});
    EXPECT_EQ(std::make_pair(ports.diagnosticEventsPort, ports.sessionEventsPort),
              std::make_pair(9081, 9082));
    // The external collector's diagnostic streams go to its host on those ports.
    QMDemoRemoteCollector remote(*ports.serverURL, ports.diagnosticEventsPort, ports.sessionEventsPort);
    EXPECT_EQ(remote.diagnosticEventsURL(), "http://[::1]:9081/veyrakit/");
    EXPECT_EQ(QMDemoRemoteCollector("https://collector.example/base", 8081, 8082).sessionEventsURL(),
              "http://collector.example:8082/sessionEventsHandler/sessions");
    EXPECT_TRUE(QMDemoOptions::parse({"--realtime", "--policy", "p.json"}).realtime);
    EXPECT_TRUE(QMDemoOptions::parse({"--keep-serving"}).keepServing);
    EXPECT_FALSE(QMDemoOptions::parse({}).keepServing);
    EXPECT_TRUE(QMDemoOptions::parse({"-h"}).help);
}

TEST(DemoOptions, BadCommandLinesAreNamed) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{"--bogus"}, "unknown option '--bogus'"},
        {{"scenario.txt"}, "unexpected argument 'scenario.txt'"},
        {{"--speed"}, "option '--speed' needs a value"},
        {{"--speed", "0"}, "--speed: '0' is not a positive number"},
        {{"--speed", "3x"}, "--speed: '3x' is not a positive number"},
        {{"--speed", "inf"}, "--speed: 'inf' is not a positive number"},
        {{"--player", "vlc"}, "--player: 'vlc' is not a player (avplayer or mpmovieplayer)"},
        {{"--server", "127.0.0.1:8080"}, "--server: '127.0.0.1:8080' is not an http:// or https:// URL"},
        {{"--server", "http:///x"}, "--server: 'http:///x' is not an http:// or https:// URL"},
        {{"--json=yes"}, "option '--json' takes no value"},
        {{"--scenario="}, "--scenario: the file name is empty"},
        {{"--realtime", "--speed", "4"}, "--realtime and --speed exclude each other"},
        {{"--server", "http://h:1", "--diag-ports", "9081"}, "--diag-ports: '9081' is not two ports N,M"},
        {{"--server", "http://h:1", "--diag-ports", "9081,0"}, "--diag-ports: '9081,0' is not two ports N,M"},
        {{"--diag-ports", "9081,9082"}, "--diag-ports applies to --server, not to the embedded collector"},
        {{"--server", "http://h:1", "--policy", "p.json"},
         "--policy applies to the embedded collector, not to --server"},
        {{"--server", "http://h:1", "--keep-serving"},
         "--keep-serving applies to the embedded collector, not to --server"},
        {{"--media", "/m", "--scenario", "s"}, "--media and --scenario exclude each other"},
        {{"--media", "/m", "--speed", "2"}, "--media plays in real time: --speed does not apply"},
        {{"--media="}, "--media: the URL or path is empty"},
    };
    for (const auto& [arguments, message] : cases) EXPECT_EQ(parseError(arguments), message);
}

TEST(DemoOptions, InputsThatCannotBePlayedStopTheRunWithTheirStatus) {
    const std::string bad =
        (std::filesystem::temp_directory_path() / "veyrakit-demo-test-bad.scenario").string();
    std::ofstream(bad)
        << "player avplayer\nurl https://h.invalid/a.m3u8\nduration 1:00\nat 0:10 play\nat 0:05 pause\n";
    EXPECT_EQ(runError({"--scenario", bad}),
              std::make_pair(
                  "bad scenario: " + bad + ":5: steps must be in time order: 0:05.000 comes after 0:10.000",
                  QMDemoError::kUsage));
    std::remove(bad.c_str());
    EXPECT_EQ(
        runError({"--scenario", "/nonexistent/x.scenario"}),
        std::make_pair(std::string("bad scenario: /nonexistent/x.scenario:0: cannot read the scenario file"),
                       QMDemoError::kUsage));
    EXPECT_EQ(runError({"--player", "avplayer", "--scenario", scenarioFile("mpmovieplayer.scenario")}),
              std::make_pair(scenarioFile("mpmovieplayer.scenario") +
                                 " is written for the mpmovieplayer player, not for --player avplayer",
                             QMDemoError::kUsage));
    EXPECT_EQ(runError({"--policy", "/nonexistent/policy.json"}),
              std::make_pair(std::string("bad policy file /nonexistent/policy.json: cannot read policy file "
                                         "'/nonexistent/policy.json'"),
                             QMDemoError::kUsage));
    EXPECT_EQ(runError({"--media", "/nonexistent/ladder"}),
              std::make_pair(std::string("--media: /nonexistent/ladder is neither a file nor a directory"),
                             QMDemoError::kUsage));
    EXPECT_EQ(
        runError({"--server", "http://127.0.0.1:1"}),
        std::make_pair(
            std::string("no veyrakit-collector answers at http://127.0.0.1:1 (GET /api/sessions failed)"),
            QMDemoError::kFailure));
}

}  // namespace veyrakit
