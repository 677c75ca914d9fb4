#include "demo/QMDemoOptions.h"

#include <cmath>
#include <filesystem>
#include <optional>
#include <utility>

namespace veyrakit {

namespace {

// "--name=value" or "--name value".
std::pair<std::string, std::optional<std::string>> splitOption(const std::string& argument) {
    size_t equals = argument.find('=');
    if (argument.starts_with("--") && equals != std::string::npos) {
        return {argument.substr(0, equals), argument.substr(equals + 1)};
    }
    return {argument, std::nullopt};
}

bool isFlag(const std::string& option) {
    return option == "--realtime" || option == "--json" || option == "--verbose" ||
           option == "--keep-serving" || option == "--help" || option == "-h";
}

bool takesValue(const std::string& option) {
    return option == "--scenario" || option == "--player" || option == "--server" || option == "--policy" ||
           option == "--speed" || option == "--diag-ports" || option == "--media";
}

}  // namespace

const std::string& QMDemoOptions::defaultScenarioPath() {
    static const std::string path = VEYRAKIT_DEMO_DEFAULT_SCENARIO;
    return path;
}

std::string QMDemoOptions::defaultScenarioPath(Player player) {
    if (player == Player::AVPlayer) return defaultScenarioPath();
    // The movie player's example lives beside the default one.
    return (std::filesystem::path(defaultScenarioPath()).parent_path() / "mpmovieplayer.scenario").string();
}

const std::string& QMDemoOptions::playerName(Player player) {
    static const std::string avplayer = "avplayer";
    static const std::string mpmovieplayer = "mpmovieplayer";
    return player == Player::AVPlayer ? avplayer : mpmovieplayer;
}

QMDemoOptions::Player QMDemoOptions::playerNamed(const std::string& text) {
    if (text == playerName(Player::AVPlayer)) return Player::AVPlayer;
    if (text == playerName(Player::MPMoviePlayer)) return Player::MPMoviePlayer;
    throw Error("--player: '" + text + "' is not a player (avplayer or mpmovieplayer)");
}

double QMDemoOptions::speedValue(const std::string& text) {
    size_t used = 0;
    double value = 0;
    try {
        value = std::stod(text, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used == 0 || used != text.size() || !std::isfinite(value) || value <= 0) {
        throw Error("--speed: '" + text + "' is not a positive number");
    }
    return value;
}

std::string QMDemoOptions::serverValue(const std::string& text) {
    bool http = text.starts_with("http://") || text.starts_with("https://");
    size_t hostStart = text.find("://") + 3;
    if (!http || hostStart >= text.size() || text[hostStart] == '/') {
        throw Error("--server: '" + text + "' is not an http:// or https:// URL");
    }
    // The SDK appends "/player/init" and "/player/report" to the base itself.
    return text.ends_with("/") ? text.substr(0, text.size() - 1) : text;
}

// "N,M": the diagnostic events port, then the session events port, as the collector takes them.
void QMDemoOptions::setDiagnosticPorts(const std::string& text) {
    const size_t comma = text.find(',');
    auto port = [&](const std::string& part) {
        size_t used = 0;
        int value = 0;
        try {
            value = std::stoi(part, &used);
        } catch (const std::exception&) {
            used = 0;
        }
        if (used == 0 || used != part.size() || value < 1 || value > 65535)
            throw Error("--diag-ports: '" + text + "' is not two ports N,M");
        return value;
    };
    if (comma == std::string::npos) throw Error("--diag-ports: '" + text + "' is not two ports N,M");
    diagnosticEventsPort = port(text.substr(0, comma));
    sessionEventsPort = port(text.substr(comma + 1));
    diagnosticPortsGiven = true;
}

void QMDemoOptions::checkCombination(bool scenarioGiven) const {
    if (media && scenarioGiven) throw Error("--media and --scenario exclude each other");
    if (media && speed) throw Error("--media plays in real time: --speed does not apply");
    if (realtime && speed) throw Error("--realtime and --speed exclude each other");
    if (diagnosticPortsGiven && !serverURL)
        throw Error("--diag-ports applies to --server, not to the embedded collector");
    if (serverURL && policyPath) throw Error("--policy applies to the embedded collector, not to --server");
    if (serverURL && keepServing)
        throw Error("--keep-serving applies to the embedded collector, not to --server");
}

QMDemoOptions QMDemoOptions::parse(const std::vector<std::string>& arguments) {
    bool scenarioGiven = false;
    QMDemoOptions result;
    for (size_t i = 0; i < arguments.size(); ++i) {
        auto [option, inlineValue] = splitOption(arguments[i]);
        if (isFlag(option) && !inlineValue) {
            result.help |= option == "--help" || option == "-h";
            result.realtime |= option == "--realtime";
            result.json |= option == "--json";
            result.verbose |= option == "--verbose";
            result.keepServing |= option == "--keep-serving";
            continue;
        }
        if (!takesValue(option)) {
            throw Error(isFlag(option)            ? "option '" + option + "' takes no value"
                        : option.starts_with("-") ? "unknown option '" + option + "'"
                                                  : "unexpected argument '" + option + "'");
        }
        if (!inlineValue && i + 1 >= arguments.size()) throw Error("option '" + option + "' needs a value");
        std::string value = inlineValue ? *inlineValue : arguments[++i];
        if (option == "--scenario") {
            if (value.empty()) throw Error("--scenario: the file name is empty");
            result.scenarioPath = value;
            scenarioGiven = true;
        } else if (option == "--player") {
            result.player = playerNamed(value);
        } else if (option == "--server") {
            result.serverURL = serverValue(value);
        } else if (option == "--policy") {
            result.policyPath = value;
        } else if (option == "--media") {
            if (value.empty()) throw Error("--media: the URL or path is empty");
            result.media = value;
        } else if (option == "--diag-ports") {
            result.setDiagnosticPorts(value);
        } else {
            result.speed = speedValue(value);
        }
    }
    if (!scenarioGiven && result.player) result.scenarioPath = defaultScenarioPath(*result.player);
    result.checkCombination(scenarioGiven);
    return result;
}

std::string QMDemoOptions::usage() {
    return R"(Usage: veyrakit-demo [OPTIONS]

Plays a scenario with a simulated player (or real media with --media), monitored by the VeyraKit
SDK over real HTTP, and checks what a collector received. Prints one line per request the collector receives, then the session
summary and the protocol checks. Exits 0 when every check passed (and, with --media, the media
played to the end or the viewer stopped it), 1 when a check failed, the media failed to play or
the run did not complete, 2 on a bad option or scenario file; the same for both players.

  --scenario FILE          the scenario to play (default: scenarios/vod-default.scenario, or
                           scenarios/mpmovieplayer.scenario with --player mpmovieplayer)
  --player NAME            avplayer or mpmovieplayer (default: the player the scenario names)
  --media URL|PATH         play real media instead of a scenario, in real time: an http(s) URL
                           (HLS or MP4), a local file, or a directory holding an HLS ladder
                           (played from its master.m3u8); local media is served on loopback
  --server URL             report to a running veyrakit-collector at URL (e.g. http://127.0.0.1:8080)
                           instead of the embedded one on free loopback ports
  --diag-ports N,M         the --server collector's diagnostic events and session events ports,
                           where the SDK's diagnostic streams go (default: 8081,8082)
  --policy FILE            answer policy of the embedded collector (see docs/collector.md)
  --speed N                run the virtual clock at N x real time (default: as fast as possible)
  --realtime               run on the real clock, as an app would
  --json                   print the summary as JSON on stdout (progress goes to stderr)
  --verbose                also show the SDK's own console lines
  --keep-serving           keep the embedded collector serving after the run, so that its
                           dashboard (the address printed) can be opened; Ctrl-C ends it
  -h, --help               this text
)";
}

}  // namespace veyrakit
