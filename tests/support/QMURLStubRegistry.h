#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/QMURLRequest.h"
#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Test double for URL loading, behind the run loop's URL transport seam. While the registry is
// enabled every connection and data task on the main loop is answered here instead of on the network: the
// first stub whose matcher accepts the request (and that has answers left) answers it; a request no stub
// matches fails with NSURLErrorCannotConnectToHost. Every request is recorded, matched or not. Answers are
// delivered through the main run loop (virtual clock aware), never synchronously.
struct QMStubResponse {
    long status = 200;
    QMURLRequest::Headers headers;
    std::vector<std::string> chunks;   // body, in the chunks the delegate receives
    std::shared_ptr<QMError> failure;  // set: fail instead of answering
    bool failAfterResponse = false;    // with failure: deliver status + chunks, then fail
    int64_t delayMillis = 0;           // on the run loop's clock, before the response

    static QMStubResponse json(const std::string& body, long status = 200);
    static QMStubResponse fail(long code = NSURLErrorCannotConnectToHost);
};

struct QMRecordedRequest {
    std::string method;
    std::string url;
    QMURLRequest::Headers headers;
    std::optional<std::string> body;
    int64_t timeMillis = 0;  // run-loop clock when the request was started
    std::optional<std::string> header(const std::string& field) const;  // case-insensitive
};

class QMURLStubRegistry {
  public:
    using Matcher = std::function<bool(const QMURLRequest&)>;
    using Responder = std::function<QMStubResponse(const QMURLRequest&)>;

    static QMURLStubRegistry& shared();

    // Installs the stub transport on the current main loop; from now on nothing from that loop
    // reaches the network.
    void enable();
    // Back to the network (the stub transport hands every exchange to libcurl while disabled);
    // stubs and records are cleared.
    void disable();
    bool isEnabled() const;

    // `times` answers at most (-1: unlimited). Returns an id for removeStub.
    int addStub(Matcher matcher, Responder responder, int times = -1);
    int addStub(Matcher matcher, QMStubResponse response, int times = -1);
    void removeStub(int id);
    void removeAllStubs();

    // Matchers: URL ends with `suffix` (e.g. "/player/init"), optionally with a method.
    static Matcher urlEndsWith(const std::string& suffix, const std::string& method = "");

    std::vector<QMRecordedRequest> requests() const;
    std::vector<QMRecordedRequest> requestsTo(const std::string& urlSuffix) const;
    void clearRequests();

    // Used by the transport: record the request and find its answer (nullopt: no stub matched).
    std::optional<QMStubResponse> answer(const QMURLRequest& request, int64_t nowMillis);

  private:
    struct Stub {
        int id;
        Matcher matcher;
        Responder responder;
        int remaining;
    };
    mutable std::mutex mutex_;
    bool enabled_ = false;
    int nextId_ = 1;
    std::vector<Stub> stubs_;
    std::vector<QMRecordedRequest> requests_;
};

}  // namespace veyrakit
