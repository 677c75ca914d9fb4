#include "demo/QMDemoWireWatch.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

// Enough of an answer to tell JSON from something else; the protocol's answers are far smaller.
constexpr std::size_t kKeptAnswerBytes = std::size_t{64} << 10;

}  // namespace

struct QMDemoWireWatch::Exchange {
    std::string path;
    long status = 0;
    std::string body;
    bool bodyCut = false;
};

QMDemoWireWatch::QMDemoWireWatch(std::shared_ptr<QMURLTransport> wire) : wire_(std::move(wire)) {}

std::shared_ptr<QMURLExchange> QMDemoWireWatch::start(const std::shared_ptr<QMRunLoop>& loop,
                                                      std::shared_ptr<QMURLRequest> request, Events events) {
    auto exchange = std::make_shared<Exchange>();
    exchange->path = request && request->URL() ? request->URL()->path() : std::string();
    Events watched{
        [exchange, next = events.response](const std::shared_ptr<QMHTTPURLResponse>& response) {
            exchange->status = response ? response->statusCode() : 0;
            if (next) next(response);
        },
        [exchange, next = events.data](const std::string& data) {
            const std::size_t room = kKeptAnswerBytes - std::min(kKeptAnswerBytes, exchange->body.size());
            exchange->bodyCut = exchange->bodyCut || data.size() > room;
            exchange->body.append(data, 0, room);
            if (next) next(data);
        },
        [this, exchange, next = events.finish] {
            record(exchange->path, faultOfAnswer(*exchange));
            if (next) next();
        },
        [this, exchange, next = events.failure](const std::shared_ptr<QMError>& error) {
            record(exchange->path, error ? std::optional<std::string>(faultOfError(*error)) : std::nullopt);
            if (next) next(error);
        },
    };
    return wire_->start(loop, std::move(request), std::move(watched));
}

std::optional<std::string> QMDemoWireWatch::lastFault(const std::string& path) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = faults_.find(path);
    return it == faults_.end() ? std::nullopt : it->second;
}

void QMDemoWireWatch::record(const std::string& path, std::optional<std::string> fault) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_[path] = std::move(fault);
}

std::optional<std::string> QMDemoWireWatch::faultOfAnswer(const Exchange& exchange) {
    if (exchange.status != 200) {
        return "status " + std::to_string(exchange.status);
    }
    if (exchange.bodyCut) {
        return std::nullopt;
    }
    const auto answer = nlohmann::json::parse(exchange.body, nullptr, false);
    if (answer.is_discarded() || !answer.is_object()) {
        // An empty report answer is an answer like any other; an empty session start answer is not.
        if (exchange.body.empty()) {
            return exchange.path.ends_with("/player/init") ? std::optional<std::string>("an empty answer")
                                                           : std::nullopt;
        }
        return "an answer that is not JSON";
    }
    if (!exchange.path.ends_with("/player/init")) {
        return std::nullopt;
    }
    if (const auto skip = answer.find("skipReports"); skip != answer.end()) {
        const std::string value = skip->is_string() ? skip->get<std::string>() : skip->dump();
        if (value != "0") {
            return "the server answered skipReports " + value;
        }
    }
    return answer.contains("sessionId") ? std::nullopt
                                        : std::optional<std::string>("an answer without a sessionId");
}

std::string QMDemoWireWatch::faultOfError(const QMError& error) {
    static const std::map<long, std::string> causes = {
        {NSURLErrorCannotConnectToHost, "connection refused"},
        {NSURLErrorTimedOut, "a time-out (no complete answer within the request's time-out)"},
        {NSURLErrorNetworkConnectionLost, "the connection was lost before a complete answer"},
        {NSURLErrorBadServerResponse, "an answer that is not HTTP"},
        {NSURLErrorDataLengthExceedsMaximum, "an answer over the size limit"},
        {NSURLErrorCannotFindHost, "an unknown host"},
    };
    const auto it = causes.find(error.code());
    return it != causes.end() ? it->second : error.localizedDescription();
}

}  // namespace veyrakit
