#include "veyrakit/platform/QMError.h"

#include <utility>

#include "platform/QMFormat.h"

namespace veyrakit {

QMError::QMError(std::string domain, long code, std::string localizedDescription)
    : domain_(std::move(domain)), code_(code), localizedDescription_(std::move(localizedDescription)) {}

std::shared_ptr<QMError> QMError::errorWithDomain(const std::string& domain, long code,
                                                  const std::string& localizedDescription) {
    return std::make_shared<QMError>(domain, code, localizedDescription);
}

std::shared_ptr<QMError> QMError::URLErrorWithCode(long code) {
    static const std::map<long, std::string> descriptions = {
        {NSURLErrorUnknown, "unknown error"},
        {NSURLErrorCancelled, "cancelled"},
        {NSURLErrorBadURL, "unsupported URL"},
        {NSURLErrorTimedOut, "The request timed out."},
        {NSURLErrorCannotFindHost, "A server with the specified hostname could not be found."},
        {NSURLErrorCannotConnectToHost, "Could not connect to the server."},
        {NSURLErrorNetworkConnectionLost, "The network connection was lost."},
        {NSURLErrorDNSLookupFailed, "The DNS lookup failed."},
        {NSURLErrorNotConnectedToInternet, "The Internet connection appears to be offline."},
        {NSURLErrorBadServerResponse, "The server returned a bad response."},
        {NSURLErrorFileDoesNotExist, "The requested file does not exist."},
        {NSURLErrorDataLengthExceedsMaximum, "resource exceeds maximum size"},
        {NSURLErrorSecureConnectionFailed,
         "An SSL error has occurred and a secure connection to the server cannot be made."},
        {NSURLErrorServerCertificateUntrusted, "The certificate for this server is invalid."},
    };
    auto it = descriptions.find(code);
    return errorWithDomain(NSURLErrorDomain, code,
                           it != descriptions.end() ? it->second : descriptions.at(NSURLErrorUnknown));
}

std::string QMError::description() const {
    return QMFormat("Error Domain=%@ Code=%ld \"%@\"", domain_, code_, localizedDescription_);
}

}  // namespace veyrakit
