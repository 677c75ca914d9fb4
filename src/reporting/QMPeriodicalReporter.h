#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMJSON.h"
#include "platform/QMURLConnection.h"
#include "platform/QMURLRequest.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/QMTimer.h"

namespace veyrakit {

// Posts the periodical report of all collectable metric values every INTERVAL_LENGTH seconds
// (the first one at start) and, on demand of a metric, unscheduled ones. Numbers its reports,
// keeps the pulse counter shared with the on-demand reporter, obeys the server's skipReports
// and tells the metric manager whether each report got through. One request and one response
// buffer: a report posted before the previous answer arrived shares them.
class QMPeriodicalReporter : public QMObject, public QMURLConnectionDelegate {
  public:
    QMPeriodicalReporter() = default;

    void start();
    void initializeReportTimer();
    void sendPeriodicalReport();
    void sendPeriodicalReport(bool unscheduled);  // sendPeriodicalReportUnscheduled:
    void sendUnscheduledPeriodical(bool destroyAfter);
    void setMetricsDataInTarget(QMJSON& target);
    void dispose();

    int32_t pulseCounter() const { return pulseCounter_; }
    void setPulseCounter(int32_t pulseCounter) { pulseCounter_ = pulseCounter; }
    int32_t periodicalCounter() const { return periodicalCounter_; }
    int32_t skippedReportsCount() const { return skippedReportsCount_; }
    int32_t unscheduledReportRetryCount() const { return unscheduledReportRetryCount_; }
    bool isSendingUnscheduledReport() const { return isSendingUnscheduledReport_; }
    bool disposed() const { return disposed_; }
    const std::shared_ptr<QMTimer>& timer() const { return timer_; }
    const std::shared_ptr<QMURLRequest>& request() const { return request_; }

    void connection(QMURLConnection& connection,
                    const std::shared_ptr<QMHTTPURLResponse>& didReceiveResponse) override;
    void connection(QMURLConnection& connection, const std::string& didReceiveData) override;
    void connectionDidFinishLoading(QMURLConnection& connection) override;
    void connection(QMURLConnection& connection, const std::shared_ptr<QMError>& didFailWithError) override;

  private:
    void startConnection();
    std::string logLine(const QMJSON& body) const;

    std::shared_ptr<QMURLRequest> request_;
    std::optional<std::string> connectionData_;
    std::shared_ptr<QMTimer> timer_;
    int32_t skippedReportsCount_ = 0;
    int32_t periodicalCounter_ = 0;
    int32_t pulseCounter_ = 0;
    int32_t unscheduledReportRetryCount_ = 0;
    bool isSendingUnscheduledReport_ = false;
    bool disposed_ = false;
};

}  // namespace veyrakit
