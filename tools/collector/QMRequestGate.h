#pragma once
#include <httplib.h>

#include <cstddef>
#include <optional>
#include <string>

namespace veyrakit {

// What a request must show before its body is read or anything is stored:
// - a Host that names this collector (localhost, a loopback address, the address it listens on or
//   the one the request came in on), so that a web page whose DNS name was rebound to this
//   machine cannot read the API;
// - no Origin but the collector's own ("http://" and the Host), so that a page of another origin
//   cannot post (a no-cors text/plain fetch needs no preflight). The SDK sends no Origin;
// - no compressed body: a few hundred kilobytes of gzip grow into gigabytes, and no client of
//   the collector compresses;
// - a Content-Length within the body bound.
class QMRequestGate {
  public:
    struct Refusal {
        int status = 0;
        std::string message;
    };

    QMRequestGate(const std::string& listenHost, size_t maxBodyBytes);

    std::optional<Refusal> check(const httplib::Request& request) const;

  private:
    bool namesThisCollector(const std::string& host, const std::string& localAddress) const;

    std::string listenHost_;
    size_t maxBodyBytes_;
};

}  // namespace veyrakit
