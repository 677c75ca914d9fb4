#pragma once
#include <httplib.h>

#include <string>

#include "collector/QMCollectorLimits.h"
#include "collector/QMConnectionRegistry.h"
#include "collector/QMRequestGate.h"

namespace veyrakit {

// One port of the collector: httplib's request parsing and routing over a connection model of
// the collector's own, which keeps the limits (QMCollectorLimits) httplib does not:
// - a thread per connection (QMConnectionThreads), their number bounded (QMConnectionRegistry);
// - each request read and answered within a deadline, its head and body within their sizes
//   (QMConnectionStream); past one, the answer is 408, 431 or 413 and the connection ends;
// - QMRequestGate's refusals before the body is read, the connection ended after the answer;
// - every answer with `X-Content-Type-Options: nosniff` and a Content-Security-Policy that lets
//   a page run only the dashboard's own script, style sheet and API.
class QMCollectorHTTPServer : public httplib::Server {
  public:
    QMCollectorHTTPServer(QMCollectorLimits limits, const std::string& listenHost);

    // Once bound: httplib listens with a backlog of 5 connections, and a burst past it (a
    // browser's six, a flood of idle connections) has its connection requests dropped and retried
    // a second later.
    void widenBacklog();

    // The collector's way to refuse: the status and {"error": message}.
    static void refuse(httplib::Response& res, int status, const std::string& message);

  private:
    bool process_and_close_socket(socket_t sock) override;
    HandlerResponse answerFailure(httplib::Response& res) const;

    QMCollectorLimits limits_;
    QMRequestGate gate_;
    QMConnectionRegistry connections_;
};

}  // namespace veyrakit
