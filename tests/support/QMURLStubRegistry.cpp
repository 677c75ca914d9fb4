#include "support/QMURLStubRegistry.h"

#include <strings.h>

#include <algorithm>
#include <utility>

#include "support/QMStubURLTransport.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

namespace {

bool endsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

QMStubResponse QMStubResponse::json(const std::string& body, long status) {
    QMStubResponse response;
    response.status = status;
    response.headers = {{"Content-Type", "application/json"}};
    if (!body.empty()) {
        response.chunks = {body};
    }
    return response;
}

QMStubResponse QMStubResponse::fail(long code) {
    QMStubResponse response;
    response.failure = QMError::URLErrorWithCode(code);
    return response;
}

std::optional<std::string> QMRecordedRequest::header(const std::string& field) const {
    auto it = std::find_if(headers.begin(), headers.end(),
                           [&](const auto& h) { return strcasecmp(h.first.c_str(), field.c_str()) == 0; });
    return it == headers.end() ? std::nullopt : std::optional<std::string>(it->second);
}

QMURLStubRegistry& QMURLStubRegistry::shared() {
    static QMURLStubRegistry registry;
    return registry;
}

void QMURLStubRegistry::enable() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        enabled_ = true;
    }
    QMRunLoop::mainRunLoop()->setURLTransport(std::make_shared<QMStubURLTransport>(*this));
}

void QMURLStubRegistry::disable() {
    std::vector<Stub> released;
    std::lock_guard<std::mutex> lock(mutex_);
    enabled_ = false;
    released.swap(stubs_);
    requests_.clear();
}

bool QMURLStubRegistry::isEnabled() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return enabled_;
}

int QMURLStubRegistry::addStub(Matcher matcher, Responder responder, int times) {
    std::lock_guard<std::mutex> lock(mutex_);
    const int id = nextId_++;
    stubs_.push_back({id, std::move(matcher), std::move(responder), times});
    return id;
}

int QMURLStubRegistry::addStub(Matcher matcher, QMStubResponse response, int times) {
    return addStub(
        std::move(matcher), [response](const QMURLRequest&) { return response; }, times);
}

void QMURLStubRegistry::removeStub(int id) {
    std::vector<Stub> released;
    std::lock_guard<std::mutex> lock(mutex_);
    auto split =
        std::stable_partition(stubs_.begin(), stubs_.end(), [id](const Stub& s) { return s.id != id; });
    released.assign(std::make_move_iterator(split), std::make_move_iterator(stubs_.end()));
    stubs_.erase(split, stubs_.end());
}

void QMURLStubRegistry::removeAllStubs() {
    std::vector<Stub> released;
    std::lock_guard<std::mutex> lock(mutex_);
    released.swap(stubs_);
}

QMURLStubRegistry::Matcher QMURLStubRegistry::urlEndsWith(const std::string& suffix,
                                                          const std::string& method) {
    return [suffix, method](const QMURLRequest& request) {
        const std::string url = request.URL() ? request.URL()->absoluteString() : std::string();
        return endsWith(url, suffix) && (method.empty() || request.HTTPMethod() == method);
    };
}

std::vector<QMRecordedRequest> QMURLStubRegistry::requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

std::vector<QMRecordedRequest> QMURLStubRegistry::requestsTo(const std::string& urlSuffix) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<QMRecordedRequest> matching;
    std::copy_if(requests_.begin(), requests_.end(), std::back_inserter(matching),
                 [&](const QMRecordedRequest& r) { return endsWith(r.url, urlSuffix); });
    return matching;
}

void QMURLStubRegistry::clearRequests() {
    std::lock_guard<std::mutex> lock(mutex_);
    requests_.clear();
}

std::optional<QMStubResponse> QMURLStubRegistry::answer(const QMURLRequest& request, int64_t nowMillis) {
    std::vector<Stub> candidates;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        requests_.push_back({request.HTTPMethod(),
                             request.URL() ? request.URL()->absoluteString() : std::string(),
                             request.allHTTPHeaderFields(), request.HTTPBody(), nowMillis});
        candidates = stubs_;
    }
    // Matchers and responders are test code that may consult the registry: they run unlocked.
    for (const auto& candidate : candidates) {
        if (candidate.remaining == 0 || !candidate.matcher(request)) {
            continue;
        }
        Responder responder;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            auto it = std::find_if(stubs_.begin(), stubs_.end(),
                                   [&](const Stub& s) { return s.id == candidate.id; });
            if (it == stubs_.end() || it->remaining == 0) {
                continue;
            }
            if (it->remaining > 0) {
                --it->remaining;
            }
            responder = it->responder;
        }
        return responder(request);
    }
    return std::nullopt;
}

}  // namespace veyrakit
