#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMJSON.h"
#include "platform/QMURLConnection.h"
#include "platform/QMURLRequest.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

// Sends one JSON request and hands the parsed answer (or a failure code) to two callbacks.
// A failed connection is tried again up to three times, at once. The running connection holds
// the loader, so its creator may drop it right after loadWithData.
class QMRestLoader : public QMObject, public QMURLConnectionDelegate {
  public:
    using CompleteCallback = std::function<void(const std::optional<QMJSON>&)>;
    using FailedCallback = std::function<void(int32_t)>;

    static const std::string& CONTENT_TYPE_JSON();  // "application/json"
    static const std::string& HTTP_METHOD_POST();   // "POST"
    static const std::string& HTTP_METHOD_GET();    // "GET"

    static std::shared_ptr<QMRestLoader> initWithContentType(const std::string& cType,
                                                             std::shared_ptr<QMURL> withURL,
                                                             const std::string& httpMethod);
    QMRestLoader(const std::string& cType, std::shared_ptr<QMURL> withURL, const std::string& httpMethod);

    // data nullopt: nothing is sent and no callback runs. Either callback may be empty.
    void loadWithData(const std::optional<QMJSON>& data, CompleteCallback onCompleteCallback,
                      FailedCallback onFailedCallback);

    // Appends a response chunk, making the buffer (2048 bytes reserved) on the first one.
    static void appendResponseData(std::optional<std::string>& buffer, const std::string& data);

    const std::string& cType() const { return cType_; }
    const std::shared_ptr<QMURL>& loadingUrl() const { return loadingUrl_; }
    const std::shared_ptr<QMURLRequest>& request() const { return request_; }
    int32_t retryCount() const { return retryCount_; }

    void connection(QMURLConnection& connection,
                    const std::shared_ptr<QMHTTPURLResponse>& didReceiveResponse) override;
    void connection(QMURLConnection& connection, const std::string& didReceiveData) override;
    void connectionDidFinishLoading(QMURLConnection& connection) override;
    void connection(QMURLConnection& connection, const std::shared_ptr<QMError>& didFailWithError) override;

  private:
    void startConnection();

    std::string cType_;
    std::shared_ptr<QMURL> loadingUrl_;
    std::shared_ptr<QMURLRequest> request_;
    std::optional<std::string> connectionData_;
    int32_t retryCount_ = 0;
    CompleteCallback onCompleteCallback_;
    FailedCallback onFailedCallback_;
};

}  // namespace veyrakit
