#pragma once
#include <map>
#include <memory>
#include <string>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

inline constexpr const char* NSURLErrorDomain = "NSURLErrorDomain";
// URL loading error codes used by the transport (platform values).
enum : long {
    NSURLErrorUnknown = -1,
    NSURLErrorCancelled = -999,
    NSURLErrorBadURL = -1000,
    NSURLErrorTimedOut = -1001,
    NSURLErrorCannotFindHost = -1003,
    NSURLErrorCannotConnectToHost = -1004,
    NSURLErrorNetworkConnectionLost = -1005,
    NSURLErrorDNSLookupFailed = -1006,
    NSURLErrorNotConnectedToInternet = -1009,
    NSURLErrorBadServerResponse = -1011,
    NSURLErrorFileDoesNotExist = -1100,
    NSURLErrorDataLengthExceedsMaximum = -1103,
    NSURLErrorSecureConnectionFailed = -1200,
    NSURLErrorServerCertificateUntrusted = -1202,
};

// An error with a domain, a code and a localized description. description() reads
// `Error Domain=<domain> Code=<code> "<localizedDescription>"`, as the platform prints it.
class VEYRAKIT_EXPORT QMError : public QMObject {
  public:
    QMError(std::string domain, long code, std::string localizedDescription);
    static std::shared_ptr<QMError> errorWithDomain(const std::string& domain, long code,
                                                    const std::string& localizedDescription);
    // An NSURLErrorDomain error with the platform's description for `code`.
    static std::shared_ptr<QMError> URLErrorWithCode(long code);

    const std::string& domain() const { return domain_; }
    long code() const { return code_; }
    const std::string& localizedDescription() const { return localizedDescription_; }
    std::string description() const override;

  private:
    std::string domain_;
    long code_;
    std::string localizedDescription_;
};

}  // namespace veyrakit
