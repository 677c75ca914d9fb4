#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/QMFormat.h"
#include "platform/QMURLConnection.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

// A connection delegate for tests: records every event as one line with the main loop's time
// in milliseconds, e.g. "response 200 @1700000000250", "data {\"a\":1} @…", "finish @…",
// "fail -1004 @…". `onEvent` (optional) runs after each record.
class QMRecordingConnectionDelegate : public QMURLConnectionDelegate {
  public:
    std::vector<std::string> events;
    std::string body;
    std::shared_ptr<QMHTTPURLResponse> response;
    std::shared_ptr<QMError> error;
    std::function<void(QMURLConnection&)> onEvent;
    bool done = false;

    void connection(QMURLConnection& c,
                    const std::shared_ptr<QMHTTPURLResponse>& didReceiveResponse) override {
        response = didReceiveResponse;
        record(c, QMFormat("response %ld", didReceiveResponse->statusCode()));
    }
    void connection(QMURLConnection& c, const std::string& didReceiveData) override {
        body += didReceiveData;
        record(c, "data " + didReceiveData);
    }
    void connectionDidFinishLoading(QMURLConnection& c) override {
        done = true;
        record(c, "finish");
    }
    void connection(QMURLConnection& c, const std::shared_ptr<QMError>& didFailWithError) override {
        error = didFailWithError;
        done = true;
        record(c, QMFormat("fail %ld", didFailWithError->code()));
    }

  private:
    void record(QMURLConnection& c, const std::string& what) {
        events.push_back(QMFormat("%@ @%lld", what, QMRunLoop::mainRunLoop()->nowMillis()));
        if (onEvent) {
            onEvent(c);
        }
    }
};

}  // namespace veyrakit
