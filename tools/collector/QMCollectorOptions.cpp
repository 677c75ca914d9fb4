#include "collector/QMCollectorOptions.h"

#include <map>
#include <optional>
#include <utility>

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

// Command-line answer options and the policy fields they set.
const std::map<std::string, std::string>& answerOptions() {
    static const std::map<std::string, std::string> options{
        {"--init-status", "init.status"},
        {"--refuse", "init.refuse"},
        {"--issue-session-id", "init.issueSessionId"},
        {"--interval-ms", "init.intervalSeconds"},
        {"--init-skip-reports", "init.skipReports"},
        {"--send-log", "init.sendLog"},
        {"--log-queue-size", "init.logQueueSize"},
        {"--offer-viewer-id", "init.offerViewerId"},
        {"--report-status", "report.status"},
        {"--report-skip-reports", "report.skipReports"},
        {"--on-demand-status", "onDemand.status"},
    };
    return options;
}

const std::vector<std::string>& valueOptions() {
    static const std::vector<std::string> options{"--host", "--port",   "--diag-ports",
                                                  "--db",   "--policy", "--session-idle-ms"};
    return options;
}

bool takesValue(const std::string& option) {
    return answerOptions().count(option) != 0 ||
           std::find(valueOptions().begin(), valueOptions().end(), option) != valueOptions().end();
}

// "--name=value" or "--name value".
std::pair<std::string, std::optional<std::string>> splitOption(const std::string& argument) {
    size_t equals = argument.find('=');
    if (argument.starts_with("--") && equals != std::string::npos) {
        return {argument.substr(0, equals), argument.substr(equals + 1)};
    }
    return {argument, std::nullopt};
}

int64_t integerArgument(const std::string& option, const std::string& text) {
    size_t used = 0;
    int64_t value = 0;
    try {
        value = std::stoll(text, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used == 0 || used != text.size())
        throw QMCollectorOptions::Error(option + ": '" + text + "' is not a number");
    return value;
}

}  // namespace

int QMCollectorOptions::portNumber(const std::string& option, const std::string& text) {
    int64_t port = integerArgument(option, text);
    if (port < 0 || port > 65535) throw Error(option + ": '" + text + "' is not a port number (0 to 65535)");
    return static_cast<int>(port);
}

nlohmann::ordered_json QMCollectorOptions::answerValue(const std::string& text) {
    if (text == "absent") return QMCollectorSequence::absentMarker();
    Json value = Json::parse(text, nullptr, false);
    return value.is_discarded() ? Json(text) : value;
}

void QMCollectorOptions::applyPolicy(QMCollectorPolicy& policy, const std::optional<std::string>& policyFile,
                                     const std::vector<std::pair<std::string, std::string>>& answers,
                                     const std::optional<int64_t>& idleMillis) {
    std::string current = "--policy";
    try {
        if (policyFile) policy = QMCollectorPolicy::fromFile(*policyFile);
        for (const auto& [option, value] : answers) {
            current = option;
            policy.set(answerOptions().at(option), QMCollectorSequence::fromJSON(answerValue(value)));
        }
        current = "--session-idle-ms";
        if (idleMillis) policy.setSessionIdleMillis(*idleMillis);
    } catch (const QMCollectorPolicy::Error& error) {
        throw Error(current + ": " + error.what());
    }
}

QMCollectorOptions QMCollectorOptions::parse(const std::vector<std::string>& arguments) {
    QMCollectorOptions result;
    std::optional<std::string> policyFile;
    std::optional<int64_t> idleMillis;
    std::vector<std::pair<std::string, std::string>> answers;
    for (size_t i = 0; i < arguments.size(); ++i) {
        auto [option, inlineValue] = splitOption(arguments[i]);
        if (option == "--help" || option == "-h") {
            result.help = true;
            continue;
        }
        if (option == "--quiet") {
            result.quiet = true;
            continue;
        }
        if (!takesValue(option)) {
            throw Error(option.starts_with("-") ? "unknown option '" + option + "'"
                                                : "unexpected argument '" + option + "'");
        }
        if (!inlineValue && i + 1 >= arguments.size()) throw Error("option '" + option + "' needs a value");
        std::string value = inlineValue ? *inlineValue : arguments[++i];
        if (option == "--host") {
            result.server.host = value;
        } else if (option == "--port") {
            result.server.port = portNumber(option, value);
        } else if (option == "--diag-ports") {
            size_t comma = value.find(',');
            if (comma == std::string::npos)
                throw Error("--diag-ports: expected two ports as EVENTS,SESSIONS");
            result.server.diagnosticEventsPort = portNumber(option, value.substr(0, comma));
            result.server.sessionEventsPort = portNumber(option, value.substr(comma + 1));
        } else if (option == "--db") {
            result.server.databasePath = value;
        } else if (option == "--policy") {
            policyFile = value;
        } else if (option == "--session-idle-ms") {
            idleMillis = integerArgument(option, value);
        } else {
            answers.emplace_back(option, value);
        }
    }
    applyPolicy(result.server.policy, policyFile, answers, idleMillis);
    return result;
}

std::string QMCollectorOptions::usage() {
    return R"(Usage: veyrakit-collector [OPTIONS]

A reference analytics collector: answers the session start exchange and the reports, stores
every request in SQLite, and shows per-session summaries and protocol checks at /api/sessions.

Server:
  --host HOST               address to listen on (default 127.0.0.1)
  --port N                  port of /player/init, /player/report and /api (default 8080; 0 = any)
  --diag-ports N,M          ports of /veyrakit/ and /sessionEventsHandler/sessions (default 8081,8082)
  --db FILE|:memory:        SQLite database (default veyrakit-collector.db)
  --policy FILE             answer policy as JSON (see docs/collector.md)
  --session-idle-ms N       a session silent this long counts as over (default 60000)
  --quiet                   do not print a line per request
  -h, --help                this text

Answers (VALUE is JSON; a list is a sequence over successive requests whose last value repeats;
text that is not JSON is a string; "absent" leaves the key out):
  --init-status VALUE           HTTP status of session start answers (default 200)
  --refuse VALUE                true: answer {"skipReports":"-1"} (default false)
  --issue-session-id VALUE      false: answer without "sessionId" (default true)
  --interval-ms VALUE           "intervalSeconds", in milliseconds (default 10000)
  --init-skip-reports VALUE     "skipReports" of session start answers: '"2"' (string) or 2 (default 0)
  --send-log VALUE              "sendLog" (default absent)
  --log-queue-size VALUE        "logQueueSize" (default absent)
  --offer-viewer-id VALUE       "offerViewerId": a string or null (default absent)
  --report-status VALUE         HTTP status of periodical report answers, per session (default 200)
  --report-skip-reports VALUE   "skipReports" of periodical report answers, per session, -1/-2 end it (default 0)
  --on-demand-status VALUE      HTTP status of the other reports' answers, per session (default 200)
)";
}

}  // namespace veyrakit
