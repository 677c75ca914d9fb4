#include "simulator/QMScenarioParser.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "simulator/QMScenarioException.h"
#include "veyrakit/platform/QMURL.h"
#include "veyrakit/platform/avfoundation/AVError.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

namespace {

const std::map<std::string, QMScenarioAction>& actionsByKeyword() {
    static const std::map<std::string, QMScenarioAction> actions = [] {
        std::map<std::string, QMScenarioAction> map;
        for (int i = 0; i <= static_cast<int>(QMScenarioAction::FaultReport); ++i) {
            const auto action = static_cast<QMScenarioAction>(i);
            map.emplace(QMScenarioStep::keyword(action), action);
        }
        return map;
    }();
    return actions;
}

std::string quoted(const std::string& text) { return "'" + text + "'"; }

std::string timeText(int64_t millis) {
    char buffer[64];
    const long long seconds = millis / 1000;
    std::snprintf(buffer, sizeof buffer, "%lld:%02lld.%03lld", seconds / 60, seconds % 60,
                  static_cast<long long>(millis % 1000));
    return buffer;
}

std::optional<int64_t> wholeNumber(const std::string& text) {
    int64_t value = 0;
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (text.empty() || ec != std::errc() || ptr != end) {
        return std::nullopt;
    }
    return value;
}

std::string countText(std::size_t minimum, std::size_t maximum) {
    if (maximum == 0) {
        return "no arguments";
    }
    std::string text = std::to_string(minimum);
    if (maximum > minimum) {
        text += " to " + std::to_string(maximum);
    }
    return text + (maximum == 1 ? " argument" : " arguments");
}

}  // namespace

QMScenarioParser::QMScenarioParser(std::string sourceName) : sourceName_(std::move(sourceName)) {}

std::shared_ptr<QMScenario> QMScenarioParser::parse(const std::string& text, const std::string& sourceName) {
    QMScenarioParser parser(sourceName);
    return parser.parseText(text);
}

std::shared_ptr<QMScenario> QMScenarioParser::parseFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw QMScenarioException(path, 0, "cannot read the scenario file");
    }
    std::ostringstream text;
    text << in.rdbuf();
    return parse(text.str(), path);
}

std::optional<int64_t> QMScenarioParser::parseTime(const std::string& text) {
    // [[h:]m:]s[.fff] -- minutes and seconds below 60 once a larger unit is written.
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t colon; (colon = text.find(':', begin)) != std::string::npos; begin = colon + 1) {
        parts.push_back(text.substr(begin, colon - begin));
    }
    parts.push_back(text.substr(begin));
    if (parts.size() > 3) {
        return std::nullopt;
    }
    std::string& last = parts.back();
    int64_t fractionMillis = 0;
    if (const auto dot = last.find('.'); dot != std::string::npos) {
        const std::string fraction = last.substr(dot + 1);
        if (fraction.empty() || fraction.size() > 3 ||
            !std::all_of(fraction.begin(), fraction.end(),
                         [](char c) { return std::isdigit(static_cast<unsigned char>(c)); })) {
            return std::nullopt;
        }
        fractionMillis = *wholeNumber(fraction);
        for (std::size_t i = fraction.size(); i < 3; ++i) {
            fractionMillis *= 10;
        }
        last.resize(dot);
    }
    int64_t totalSeconds = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const auto& part = parts[i];
        if (part.empty() || !std::all_of(part.begin(), part.end(), [](char c) {
                return std::isdigit(static_cast<unsigned char>(c));
            })) {
            return std::nullopt;
        }
        const auto value = wholeNumber(part);
        if (!value || (i > 0 && *value >= 60) || *value > 1'000'000'000) {
            return std::nullopt;
        }
        totalSeconds = totalSeconds * 60 + *value;
    }
    return totalSeconds * 1000 + fractionMillis;
}

std::shared_ptr<QMScenario> QMScenarioParser::parseText(const std::string& text) {
    scenario_ = std::make_shared<QMScenario>();
    scenario_->setSourceName(sourceName_);
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        ++line_;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        const auto tokens = tokenize(line);
        if (tokens.empty()) {
            continue;
        }
        if (!tokens[0].key && tokens[0].text == "at") {
            step(tokens);
        } else {
            directive(tokens);
        }
    }
    finish();
    return scenario_;
}

std::vector<QMScenarioParser::Token> QMScenarioParser::tokenize(const std::string& line) const {
    std::vector<Token> tokens;
    Token current;
    bool inToken = false;
    bool inQuote = false;
    auto close = [&] {
        if (inToken) {
            tokens.push_back(std::move(current));
        }
        current = Token{};
        inToken = false;
    };
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (inQuote) {
            if (c == '\\' && i + 1 < line.size() && (line[i + 1] == '"' || line[i + 1] == '\\')) {
                current.text += line[++i];
            } else if (c == '"') {
                inQuote = false;
            } else {
                current.text += c;
            }
        } else if (c == '#') {
            break;
        } else if (std::isspace(static_cast<unsigned char>(c))) {
            close();
        } else if (c == '"') {
            inQuote = inToken = true;
        } else if (c == '=' && !current.key && inToken) {
            // key=value; an '=' inside a quoted text or after the first one stays text.
            current.key = std::move(current.text);
            current.text.clear();
        } else {
            current.text += c;
            inToken = true;
        }
    }
    if (inQuote) {
        fail("unterminated quote");
    }
    close();
    return tokens;
}

void QMScenarioParser::directive(const std::vector<Token>& tokens) {
    const std::string name = tokens[0].key ? *tokens[0].key + "=" : tokens[0].text;
    static const char* const known[] = {"player",  "url",        "asset",          "duration",
                                        "server",  "session-id", "variant",        "size",
                                        "segment", "playlist",   "stall-behaviour"};
    if (std::find(std::begin(known), std::end(known), name) == std::end(known)) {
        fail("unknown directive " + quoted(name));
    }
    if (headerChecked_) {
        fail(quoted(name) + " must come before the first step");
    }
    if (name == "variant") {
        variant(tokens);
        return;
    }
    if (const auto earlier = directiveLines_.find(name); earlier != directiveLines_.end()) {
        fail(quoted(name) + " was already given on line " + std::to_string(earlier->second));
    }
    directiveLines_[name] = line_;
    const std::string value = arguments(tokens, 1, name, 1, 1, {}).positional[0];
    if (name == "player") {
        if (value != "avplayer" && value != "mpmovieplayer") {
            fail("'player' is avplayer or mpmovieplayer, not " + quoted(value));
        }
        scenario_->setPlayerKind(value == "avplayer" ? QMScenarioPlayerKind::AVPlayer
                                                     : QMScenarioPlayerKind::MPMoviePlayer);
    } else if (name == "url") {
        if (!QMURL::URLWithString(value)) {
            fail(quoted(value) + " is not a URL");
        }
        scenario_->setUrl(value);
    } else if (name == "asset") {
        if (value != "url" && value != "other") {
            fail("'asset' is url or other, not " + quoted(value));
        }
        scenario_->setURLAsset(value == "url");
    } else if (name == "duration") {
        if (value == "live") {
            scenario_->setLive(true);
        } else {
            const int64_t millis = time(value, "a duration or live");
            if (millis <= 0) {
                fail("the duration must be longer than zero");
            }
            scenario_->setDurationMillis(millis);
        }
    } else if (name == "playlist") {
        if (value != "served") {
            fail("'playlist' is served, not " + quoted(value));
        }
        scenario_->setPlaylistServed(true);
    } else if (name == "stall-behaviour") {
        if (value != "rate-stays" && value != "rate-drops") {
            fail("'stall-behaviour' is rate-stays or rate-drops, not " + quoted(value));
        }
        scenario_->setStallBehaviour(value == "rate-stays" ? QMScenarioStallBehaviour::RateStays
                                                           : QMScenarioStallBehaviour::RateDrops);
    } else if (name == "server") {
        scenario_->setServerAddress(value);
    } else if (name == "session-id") {
        scenario_->setPlaybackSessionID(value);
    } else if (name == "size") {
        scenario_->setSize(resolution(value));
    } else if (name == "segment") {
        const double seconds = number(value, "a segment length in seconds");
        if (!(seconds > 0.0) || std::isinf(seconds)) {
            fail("the segment length must be longer than zero");
        }
        scenario_->setSegmentSeconds(seconds);
    }
}

void QMScenarioParser::variant(const std::vector<Token>& tokens) {
    const Arguments args = arguments(tokens, 1, "variant", 1, 2, {"uri"});
    QMScenarioVariant variant;
    variant.bitrate = integer(args.positional[0], "a bitrate in bits per second");
    if (variant.bitrate <= 0) {
        fail("a bitrate must be more than zero");
    }
    if (scenario_->variantWithBitrate(variant.bitrate)) {
        fail("variant " + args.positional[0] + " is listed twice");
    }
    if (args.positional.size() == 2) {
        variant.resolution = resolution(args.positional[1]);
    }
    if (const auto uri = args.options.find("uri"); uri != args.options.end()) {
        variant.URI = uri->second;
    }
    auto variants = scenario_->variants();
    variants.push_back(variant);
    scenario_->setVariants(std::move(variants));
}

void QMScenarioParser::step(const std::vector<Token>& tokens) {
    if (!headerChecked_) {
        checkHeader();
    }
    if (tokens.size() < 3 || tokens[1].key || tokens[2].key) {
        fail("a step reads 'at <time> <action> [arguments]'");
    }
    QMScenarioStep step;
    step.line = line_;
    step.atMillis = time(tokens[1].text, "a time");
    if (step.atMillis < lastAt_) {
        fail("steps must be in time order: " + timeText(step.atMillis) + " comes after " + timeText(lastAt_));
    }
    const auto found = actionsByKeyword().find(tokens[2].text);
    if (found == actionsByKeyword().end()) {
        fail("unknown action " + quoted(tokens[2].text));
    }
    step.action = found->second;
    readArguments(step, tokens);
    checkSequence(step);
    lastAt_ = step.atMillis;
    steps_.push_back({step, false});
    if (step.action == QMScenarioAction::Stall && step.millis > 0) {
        QMScenarioStep recovery = step;
        recovery.action = QMScenarioAction::Recover;
        recovery.atMillis = step.atMillis + step.millis;
        recovery.millis = 0;
        steps_.push_back({recovery, true});
    }
}

void QMScenarioParser::readArguments(QMScenarioStep& step, const std::vector<Token>& tokens) {
    const std::string keyword = QMScenarioStep::keyword(step.action);
    const bool movie = scenario_->playerKind() == QMScenarioPlayerKind::MPMoviePlayer;
    auto optional = [](const Arguments& args, const char* name) -> std::optional<std::string> {
        const auto found = args.options.find(name);
        return found == args.options.end() ? std::nullopt : std::optional<std::string>(found->second);
    };
    if ((step.action == QMScenarioAction::AirPlay || step.action == QMScenarioAction::Scaling) && !movie) {
        fail(quoted(keyword) + " is only for an mpmovieplayer scenario");
    }
    switch (step.action) {
        case QMScenarioAction::Rate: {
            step.rate = number(arguments(tokens, 3, keyword, 1, 1, {}).positional[0], "a rate");
            if (!(step.rate >= 0.0) || std::isinf(step.rate)) {
                fail("a rate is zero or more");
            }
            break;
        }
        case QMScenarioAction::Seek:
            step.millis = time(arguments(tokens, 3, keyword, 1, 1, {}).positional[0], "a media position");
            if (!scenario_->isLive() && step.millis > scenario_->durationMillis()) {
                fail("seek to " + timeText(step.millis) + " is beyond the duration " +
                     timeText(scenario_->durationMillis()));
            }
            break;
        case QMScenarioAction::Stall: {
            const Arguments args = arguments(tokens, 3, keyword, 0, 1, {});
            if (!args.positional.empty()) {
                step.millis = time(args.positional[0], "how long the stall lasts");
                if (step.millis <= 0) {
                    fail("a stall lasts longer than zero");
                }
            }
            break;
        }
        case QMScenarioAction::Bitrate: {
            const Arguments args = arguments(tokens, 3, keyword, 1, 1, {"observed"});
            step.bitrate = integer(args.positional[0], "a bitrate in bits per second");
            if (scenario_->variants().empty()) {
                fail("'bitrate' needs a variant ladder ('variant' lines)");
            }
            if (!scenario_->variantWithBitrate(step.bitrate)) {
                fail("bitrate " + args.positional[0] + " is not in the variant ladder");
            }
            if (const auto observed = optional(args, "observed")) {
                step.observedBitrate = number(*observed, "an observed bitrate");
            }
            break;
        }
        case QMScenarioAction::ServerError: {
            const Arguments args = arguments(tokens, 3, keyword, 1, 1, {"domain", "comment"});
            step.code = static_cast<long>(integer(args.positional[0], "a status code"));
            step.domain = optional(args, "domain").value_or("CoreMediaErrorDomain");
            step.text = optional(args, "comment");
            break;
        }
        case QMScenarioAction::Fail: {
            const Arguments args =
                arguments(tokens, 3, keyword, 0, movie ? 0 : 1, {"code", "domain", "message"});
            if (!args.positional.empty()) {
                if (args.positional[0] != "item" && args.positional[0] != "player") {
                    fail("'fail' takes item or player, not " + quoted(args.positional[0]));
                }
                step.failTarget = args.positional[0] == "player" ? QMScenarioFailTarget::Player
                                                                 : QMScenarioFailTarget::Item;
            }
            const auto code = optional(args, "code");
            step.code = code ? static_cast<long>(integer(*code, "an error code")) : AVErrorUnknown;
            step.domain = optional(args, "domain").value_or(AVFoundationErrorDomain);
            step.text = optional(args, "message").value_or("The operation could not be completed");
            break;
        }
        case QMScenarioAction::AirPlay: {
            const std::string value = arguments(tokens, 3, keyword, 1, 1, {}).positional[0];
            if (value != "on" && value != "off") {
                fail("'airplay' takes on or off, not " + quoted(value));
            }
            step.on = value == "on";
            break;
        }
        case QMScenarioAction::Scaling: {
            static const std::map<std::string, long> modes = {{"none", MPMovieScalingModeNone},
                                                              {"aspect-fit", MPMovieScalingModeAspectFit},
                                                              {"aspect-fill", MPMovieScalingModeAspectFill},
                                                              {"fill", MPMovieScalingModeFill}};
            const std::string value = arguments(tokens, 3, keyword, 1, 1, {}).positional[0];
            const auto mode = modes.find(value);
            if (mode == modes.end()) {
                fail("'scaling' takes none, aspect-fit, aspect-fill or fill, not " + quoted(value));
            }
            step.mode = mode->second;
            break;
        }
        case QMScenarioAction::FaultReport: {
            const Arguments args = arguments(tokens, 3, keyword, 2, 2, {});
            step.errorCode = args.positional[0];
            step.playerVersion = args.positional[1];
            break;
        }
        default:
            arguments(tokens, 3, keyword, 0, 0, {});
            break;
    }
}

void QMScenarioParser::checkSequence(const QMScenarioStep& step) {
    const std::string keyword = quoted(QMScenarioStep::keyword(step.action));
    if (stallEndsAt_ && step.atMillis >= *stallEndsAt_) {
        stallLine_ = 0;
        stallEndsAt_.reset();
    }
    if (step.isHostStep(scenario_->playerKind())) {
        return;
    }
    if (overLine_ != 0) {
        fail(keyword + " after the playback was over (line " + std::to_string(overLine_) +
             "): only host steps may follow");
    }
    switch (step.action) {
        case QMScenarioAction::Ready:
            if (readyLine_ != 0) {
                fail("'ready' was already given on line " + std::to_string(readyLine_));
            }
            readyLine_ = line_;
            break;
        case QMScenarioAction::BufferFull:
        case QMScenarioAction::Stall:
            if (readyLine_ == 0) {
                fail(keyword + " before 'ready': the item is still loading");
            }
            if (step.action == QMScenarioAction::Stall) {
                if (stallLine_ != 0) {
                    fail("already stalled since line " + std::to_string(stallLine_));
                }
                stallLine_ = line_;
                if (step.millis > 0) {
                    stallEndsAt_ = step.atMillis + step.millis;
                }
            }
            break;
        case QMScenarioAction::Recover:
            if (stallLine_ == 0) {
                fail("'recover' without a stall");
            }
            if (stallEndsAt_) {
                fail("the stall of line " + std::to_string(stallLine_) + " recovers by itself at " +
                     timeText(*stallEndsAt_));
            }
            stallLine_ = 0;
            break;
        case QMScenarioAction::Fail:
        case QMScenarioAction::Stop:
            overLine_ = line_;
            break;
        default:
            break;
    }
}

void QMScenarioParser::checkHeader() {
    headerChecked_ = true;
    const bool movie = scenario_->playerKind() == QMScenarioPlayerKind::MPMoviePlayer;
    if (!directiveLines_.count("duration")) {
        fail("the header has no 'duration' (seconds, m:ss, or live)");
    }
    if (movie && !scenario_->isURLAsset()) {
        fail("'asset other' is only for an avplayer scenario");
    }
    if (!scenario_->url() && scenario_->isURLAsset()) {
        fail("the header has no 'url'");
    }
    if (scenario_->playlistServed() && !scenario_->isURLAsset()) {
        fail("'playlist served' needs a URL asset");
    }
    if (scenario_->playlistServed() && scenario_->variants().empty()) {
        fail("'playlist served' needs a variant ladder ('variant' lines)");
    }
}

void QMScenarioParser::finish() {
    if (!headerChecked_) {
        checkHeader();
    }
    // Steps are written in time order and a stall's recovery is appended after them, so a
    // stable sort keeps the written order among equal times; a recovery goes first.
    std::stable_sort(steps_.begin(), steps_.end(), [](const Pending& a, const Pending& b) {
        if (a.step.atMillis != b.step.atMillis) {
            return a.step.atMillis < b.step.atMillis;
        }
        return a.recovery && !b.recovery;
    });
    std::vector<QMScenarioStep> steps;
    steps.reserve(steps_.size());
    for (const auto& pending : steps_) {
        steps.push_back(pending.step);
    }
    scenario_->setSteps(std::move(steps));
}

QMScenarioParser::Arguments QMScenarioParser::arguments(
    const std::vector<Token>& tokens, std::size_t from, const std::string& keyword, std::size_t minimum,
    std::size_t maximum, std::initializer_list<const char*> optionNames) const {
    Arguments args;
    for (std::size_t i = from; i < tokens.size(); ++i) {
        const Token& token = tokens[i];
        if (!token.key) {
            args.positional.push_back(token.text);
            continue;
        }
        const bool known = std::any_of(optionNames.begin(), optionNames.end(),
                                       [&](const char* name) { return *token.key == name; });
        if (!known) {
            fail(quoted(keyword) + " has no option " + quoted(*token.key));
        }
        if (!args.options.emplace(*token.key, token.text).second) {
            fail(quoted(keyword) + " has option " + quoted(*token.key) + " twice");
        }
    }
    if (args.positional.size() < minimum || args.positional.size() > maximum) {
        fail(quoted(keyword) + " takes " + countText(minimum, maximum));
    }
    return args;
}

int64_t QMScenarioParser::integer(const std::string& text, const std::string& what) const {
    const auto value = wholeNumber(text);
    if (!value) {
        fail("expected " + what + ", found " + quoted(text));
    }
    return *value;
}

double QMScenarioParser::number(const std::string& text, const std::string& what) const {
    double value = 0.0;
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (text.empty() || ec != std::errc() || ptr != end || std::isnan(value)) {
        fail("expected " + what + ", found " + quoted(text));
    }
    return value;
}

int64_t QMScenarioParser::time(const std::string& text, const std::string& what) const {
    const auto millis = parseTime(text);
    if (!millis) {
        fail("expected " + what + " ([[h:]m:]s[.fff]), found " + quoted(text));
    }
    return *millis;
}

CGSize QMScenarioParser::resolution(const std::string& text) const {
    const auto x = text.find('x');
    const auto width = x == std::string::npos ? std::nullopt : wholeNumber(text.substr(0, x));
    const auto height = x == std::string::npos ? std::nullopt : wholeNumber(text.substr(x + 1));
    if (!width || !height || *width <= 0 || *height <= 0) {
        fail("expected a resolution such as 1280x720, found " + quoted(text));
    }
    return CGSizeMake(static_cast<double>(*width), static_cast<double>(*height));
}

void QMScenarioParser::fail(const std::string& detail) const {
    throw QMScenarioException(sourceName_, line_, detail);
}

}  // namespace veyrakit
