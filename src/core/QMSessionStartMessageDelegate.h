#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMURLConnection.h"
#include "platform/QMURLRequest.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// A connection delegate for a session start message sent on its own: posts
// "sessionStartCompleted" when the answer arrived and "sessionStartFailed" after the third retry
// failed, re-sending the same request in between. Accepts any status below 300.
class QMSessionStartMessageDelegate : public QMObject, public QMURLConnectionDelegate {
  public:
    QMSessionStartMessageDelegate() = default;
    std::shared_ptr<QMSessionStartMessageDelegate> init(std::shared_ptr<QMURLRequest> request);

    int32_t onDemandReportRetried() const { return onDemandReportRetried_; }
    const std::shared_ptr<QMURLRequest>& request() const { return request_; }

    void connection(QMURLConnection& connection,
                    const std::shared_ptr<QMHTTPURLResponse>& didReceiveResponse) override;
    void connection(QMURLConnection& connection, const std::string& didReceiveData) override;
    void connectionDidFinishLoading(QMURLConnection& connection) override;
    void connection(QMURLConnection& connection, const std::shared_ptr<QMError>& didFailWithError) override;

  private:
    std::shared_ptr<QMURLRequest> request_;
    std::optional<std::string> connectionData_;
    int32_t onDemandReportRetried_ = 0;
};

}  // namespace veyrakit
