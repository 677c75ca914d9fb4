#include "demo/QMDemoSummaryPrinter.h"

#include <array>
#include <cstdio>
#include <utility>

#include "collector/QMDiagnosticSummary.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

std::string text(const Json& value) {
    if (value.is_null()) return "-";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

const Json& member(const Json& object, const char* key) {
    static const Json null;
    if (!object.is_object()) return null;
    auto it = object.find(key);
    return it == object.end() ? null : *it;
}

}  // namespace

std::string QMDemoSummaryPrinter::row(const std::string& label, const std::string& value) {
    std::string line = "  " + label;
    line.append(label.size() < 20 ? 20 - label.size() : 1, ' ');
    return line + value + "\n";
}

std::string QMDemoSummaryPrinter::milliseconds(const nlohmann::ordered_json& value) {
    return value.is_null() ? "-" : text(value) + " ms";
}

std::string QMDemoSummaryPrinter::assetLine(const nlohmann::ordered_json& asset) {
    return text(member(asset, "assetId")) + " (" + text(member(asset, "assetType")) + ", " +
           text(member(asset, "streamType")) + ") " + text(member(asset, "mediaUrl"));
}

std::string QMDemoSummaryPrinter::reportCounts(const nlohmann::ordered_json& summary) {
    std::string line = text(member(summary, "requests")) + " requests;";
    const Json& reports = member(summary, "reports");
    if (reports.is_object()) {
        for (const auto& [type, count] : reports.items()) {
            if (type != "retransmissions") line += " " + type + " " + text(count) + ",";
        }
    }
    return line + " retransmissions " + text(member(reports, "retransmissions"));
}

std::string QMDemoSummaryPrinter::bufferingLine(const nlohmann::ordered_json& summary) {
    int intervals = 0;
    for (const auto& value : member(summary, "intervalBufferingMs")) {
        if (value.is_number() && value.get<int64_t>() > 0) ++intervals;
    }
    std::string line = milliseconds(member(summary, "totalBufferingMs")) + " after the join, in " +
                       counted(intervals, "interval");
    const Json& ratio = member(summary, "rebufferingRatio");
    if (ratio.is_number()) {
        char percent[32];
        std::snprintf(percent, sizeof percent, "%.2f %%", ratio.get<double>() * 100.0);
        line += "; rebuffering ratio " + std::string(percent);
    }
    return line;
}

std::string QMDemoSummaryPrinter::bitrateLine(const nlohmann::ordered_json& summary) {
    std::string ladder;
    Json previous;
    for (const auto& point : member(summary, "bitrateTimeline")) {
        const Json& bitrate = member(point, "bitrate");
        if (bitrate == previous) continue;
        ladder += (ladder.empty() ? "" : " -> ") + text(bitrate);
        previous = bitrate;
    }
    if (ladder.empty()) ladder = "-";
    return ladder + " (" + counted(member(summary, "bitrateSwitches"), "switch") + ")";
}

std::string QMDemoSummaryPrinter::outcomeLine(const nlohmann::ordered_json& summary) {
    std::string line = member(summary, "completed") == true ? "completion reported"
                       : member(summary, "state") == "ended"
                           ? "ended at the player's finish (a movie player sends no completion report)"
                           : "not completed";
    line += "; " + counted(member(summary, "errors"), "playback error") + ", " +
            counted(member(summary, "faultReports").size(), "fault report");
    const Json& errors = member(summary, "playbackErrors");
    if (errors.is_array() && !errors.empty())
        line += "; last error: " + QMDiagnosticSummary::errorLine(errors.back());
    return line;
}

std::string QMDemoSummaryPrinter::diagnosticsLine(const nlohmann::ordered_json& analysis) {
    const Json& summary = member(analysis, "summary");
    int passed = 0;
    int failed = 0;
    for (const auto& check : member(analysis, "checks")) {
        const std::string name = text(member(check, "name"));
        if (!name.starts_with("sessionEvents.") && !name.starts_with("diagnosticEvents.")) continue;
        passed += member(check, "status") == "passed" ? 1 : 0;
        failed += member(check, "status") == "failed" ? 1 : 0;
    }
    return text(member(summary, "diagnosticPosts")) + " posts, " + text(member(summary, "diagnosticEvents")) +
           " events; diagnostic checks " + std::to_string(passed) + " passed, " + std::to_string(failed) +
           " failed";
}

// Bitrates as "400000, 320000", resolutions as "640x360, 960x540"; "-" when none were offered.
std::string QMDemoSummaryPrinter::listLine(const nlohmann::ordered_json& values) {
    if (!values.is_array()) return "-";
    std::string line;
    for (const auto& value : values) {
        if (!line.empty()) line += ", ";
        line += value.is_object() ? text(member(value, "width")) + "x" + text(member(value, "height"))
                                  : text(value);
    }
    return line.empty() ? "none" : line;
}

std::string QMDemoSummaryPrinter::accessLogLine(const nlohmann::ordered_json& figures) {
    static const std::array<std::pair<const char*, const char*>, 6> labels{
        {{"indicatedBitrate", "indicated bitrate "},
         {"observedBitrate", "observed bitrate "},
         {"bytesTransferred", "bytes "},
         {"stalls", "stalls "},
         {"droppedVideoFrames", "dropped frames "},
         {"durationWatched", "watched (s) "}}};
    std::string line;
    for (const auto& [key, label] : labels) {
        const Json& value = member(figures, key);
        if (value.is_null()) continue;
        line += (line.empty() ? "" : ", ") + std::string(label) + text(value);
    }
    return line.empty() ? "-" : line;
}

std::string QMDemoSummaryPrinter::counted(const nlohmann::ordered_json& count, const std::string& noun) {
    const std::string plural = noun.ends_with("ch") ? "es" : "s";
    return text(count) + " " + noun + (count == 1 ? "" : plural);
}

std::string QMDemoSummaryPrinter::summaryTable(const nlohmann::ordered_json& analysis) {
    const Json& summary = member(analysis, "summary");
    std::string table =
        "Session " + text(member(analysis, "sessionId")) + " (" + text(member(analysis, "state")) + ")\n";
    table += row("plugin", text(member(summary, "plugin")));
    table += row("asset", assetLine(member(summary, "asset")));
    table += row("requests", reportCounts(summary));
    table += row("join time", milliseconds(member(summary, "joinTimeMs")));
    table += row("buffering", bufferingLine(summary));
    table += row("playing time", milliseconds(member(summary, "playingTimeMs")));
    table += row("viewed time", milliseconds(member(summary, "viewedTimeMs")));
    table += row("full-screen time", milliseconds(member(summary, "fullScreenTimeMs")));
    table += row("elapsed time", milliseconds(member(summary, "elapsedTimeMs")));
    const Json& duration = member(summary, "durationSeconds");
    // A live stream has no duration: the player reports an indefinite one, sent as a negative number.
    table += row("duration", duration.is_null()                                   ? "-"
                             : duration.is_number() && duration.get<double>() < 0 ? "- (live)"
                                                                                  : text(duration) + " s");
    table += row("bitrate", bitrateLine(summary));
    table += row("available bitrates", text(member(summary, "availableBitrates")));
    table += row("outcome", outcomeLine(summary));
    table += row("log lines", text(member(summary, "logLines")));
    table += row("diagnostics", diagnosticsLine(analysis));
    table += row("offered bitrates", listLine(member(summary, "offeredBitrates")));
    table += row("offered resolutions", listLine(member(summary, "offeredResolutions")));
    table += row("access log", accessLogLine(member(summary, "lastAccessLog")));
    return table;
}

std::string QMDemoSummaryPrinter::checkList(const nlohmann::ordered_json& analysis) {
    std::string list = "Protocol checks\n";
    int passed = 0;
    int failed = 0;
    int other = 0;
    for (const auto& check : member(analysis, "checks")) {
        const std::string status = text(member(check, "status"));
        (status == "passed" ? passed : status == "failed" ? failed : other)++;
        std::string line = status;
        line.append(status.size() < 15 ? 15 - status.size() : 1, ' ');
        line += text(member(check, "name"));
        line.append(line.size() < 44 ? 44 - line.size() : 1, ' ');
        list += "  " + line + text(member(check, "description")) + "\n";
        for (const auto& violation : member(check, "violations")) {
            list += "      request " + text(member(violation, "requestId")) + ": " +
                    text(member(violation, "message")) + "\n";
        }
    }
    list += std::to_string(passed + failed + other) + " checks: " + std::to_string(passed) + " passed, " +
            std::to_string(failed) + " failed, " + std::to_string(other) + " pending or not applicable\n";
    return list;
}

}  // namespace veyrakit
