#include "platform/QMURLTransfer.h"

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <utility>
#include <vector>

#include "platform/QMCurlEasyPool.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/QMURLLoadingLimits.h"

namespace veyrakit {

namespace {

bool hasField(const QMURLRequest::Headers& headers, const char* field) {
    return std::any_of(headers.begin(), headers.end(),
                       [field](const auto& h) { return strcasecmp(h.first.c_str(), field) == 0; });
}

std::string trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

}  // namespace

std::shared_ptr<QMURLTransfer> QMURLTransfer::start(const std::shared_ptr<QMRunLoop>& loop,
                                                    std::shared_ptr<QMURLRequest> request, Events events) {
    auto transfer = std::make_shared<QMURLTransfer>(loop, std::move(request), std::move(events));
    transfer->configure();
    loop->addTransfer(transfer);
    return transfer;
}

std::shared_ptr<QMError> QMURLTransfer::errorForResult(CURLcode result) {
    static const std::map<CURLcode, long> codes = {
        {CURLE_COULDNT_CONNECT, NSURLErrorCannotConnectToHost},
        {CURLE_COULDNT_RESOLVE_HOST, NSURLErrorCannotFindHost},
        {CURLE_COULDNT_RESOLVE_PROXY, NSURLErrorCannotFindHost},
        {CURLE_OPERATION_TIMEDOUT, NSURLErrorTimedOut},
        {CURLE_SEND_ERROR, NSURLErrorNetworkConnectionLost},
        {CURLE_RECV_ERROR, NSURLErrorNetworkConnectionLost},
        {CURLE_GOT_NOTHING, NSURLErrorNetworkConnectionLost},
        {CURLE_PARTIAL_FILE, NSURLErrorNetworkConnectionLost},
        {CURLE_SEND_FAIL_REWIND, NSURLErrorNetworkConnectionLost},
        {CURLE_FILESIZE_EXCEEDED, NSURLErrorDataLengthExceedsMaximum},
        {CURLE_HTTP2_STREAM, NSURLErrorNetworkConnectionLost},
        {CURLE_PEER_FAILED_VERIFICATION, NSURLErrorServerCertificateUntrusted},
        {CURLE_SSL_CONNECT_ERROR, NSURLErrorSecureConnectionFailed},
        {CURLE_SSL_CERTPROBLEM, NSURLErrorSecureConnectionFailed},
        {CURLE_SSL_CIPHER, NSURLErrorSecureConnectionFailed},
        {CURLE_SSL_CACERT_BADFILE, NSURLErrorSecureConnectionFailed},
        {CURLE_UNSUPPORTED_PROTOCOL, NSURLErrorBadURL},
        {CURLE_URL_MALFORMAT, NSURLErrorBadURL},
        {CURLE_WEIRD_SERVER_REPLY, NSURLErrorBadServerResponse},
        {CURLE_ABORTED_BY_CALLBACK, NSURLErrorCancelled},
    };
    auto it = codes.find(result);
    return QMError::URLErrorWithCode(it != codes.end() ? it->second : NSURLErrorUnknown);
}

QMURLTransfer::QMURLTransfer(std::weak_ptr<QMRunLoop> loop, std::shared_ptr<QMURLRequest> request,
                             Events events)
    : loop_(std::move(loop)),
      request_(std::move(request)),
      events_(std::move(events)),
      easy_(QMCurlEasyPool::take()) {}

QMURLTransfer::~QMURLTransfer() {
    QMCurlEasyPool::give(easy_);
    curl_slist_free_all(headerList_);
}

void QMURLTransfer::configure() {
    const std::string url = request_->URL() ? request_->URL()->absoluteString() : std::string();
    curl_easy_setopt(easy_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "http,https,file");
    curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy_, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy_, CURLOPT_SSL_VERIFYHOST, 2L);
    const double seconds = request_->timeoutInterval() > 0 ? request_->timeoutInterval()
                                                           : QMURLLoadingLimits::defaultTimeoutInterval();
    const long timeoutMs = static_cast<long>(std::llround(seconds * 1000));
    // A bound on the whole exchange, connecting included: a server that trickles its answer
    // cannot hold it open longer than this.
    curl_easy_setopt(easy_, CURLOPT_TIMEOUT_MS, timeoutMs);
    curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS, timeoutMs);
    // Refused at once when announced; onBody counts the rest (chunked or unannounced bodies).
    maximumLength_ = QMURLLoadingLimits::maximumResponseLength();
    curl_easy_setopt(easy_, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(maximumLength_));
    curl_easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &QMURLTransfer::onHeader);
    curl_easy_setopt(easy_, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &QMURLTransfer::onBody);
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
    configureMethodAndBody();
    configureHeaders();
}

void QMURLTransfer::configureMethodAndBody() {
    const std::string& method = request_->HTTPMethod();
    const auto& body = request_->HTTPBody();
    if (method == "HEAD") {
        curl_easy_setopt(easy_, CURLOPT_NOBODY, 1L);
        return;
    }
    if (body || method == "POST" || method == "PUT" || method == "PATCH") {
        // Handed over whole, so that libcurl writes it with the request's header in one send.
        // libcurl silently sends a request again on a fresh connection when the kept-alive one it
        // reused dies before any answer; onPrerequest refuses that second attempt for a method
        // that is not idempotent, so the server never sees a POST more often than it was sent.
        static const std::string kNoBody;
        const std::string& bytes = body ? *body : kNoBody;
        curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(bytes.size()));
        curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, bytes.c_str());
        curl_easy_setopt(easy_, CURLOPT_PREREQFUNCTION, &QMURLTransfer::onPrerequest);
        curl_easy_setopt(easy_, CURLOPT_PREREQDATA, this);
    }
    if (method != "GET" || body) {
        curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, method.c_str());
    }
}

void QMURLTransfer::configureHeaders() {
    const auto& headers = request_->allHTTPHeaderFields();
    for (const auto& [field, value] : headers) {
        // "Field;" is libcurl's spelling of a header sent with an empty value.
        const std::string line = value.empty() ? field + ";" : field + ": " + value;
        headerList_ = curl_slist_append(headerList_, line.c_str());
    }
    // Only what the request holds goes out: suppress the headers libcurl would add itself.
    for (const char* own : {"Expect", "Accept", "Content-Type"}) {
        if (!hasField(headers, own)) {
            headerList_ = curl_slist_append(headerList_, (std::string(own) + ":").c_str());
        }
    }
    curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headerList_);
}

size_t QMURLTransfer::onHeader(char* buffer, size_t size, size_t count, void* self) {
    static_cast<QMURLTransfer*>(self)->headerLine(std::string(buffer, size * count));
    return size * count;
}

int QMURLTransfer::onPrerequest(void* self, char* /*primaryIP*/, char* /*localIP*/, int /*primaryPort*/,
                                int /*localPort*/) {
    auto* transfer = static_cast<QMURLTransfer*>(self);
    const std::string& method = transfer->request_->HTTPMethod();
    const bool idempotent = method == "GET" || method == "HEAD" || method == "PUT" || method == "DELETE" ||
                            method == "OPTIONS" || method == "TRACE";
    if (transfer->attempts_++ > 0 && !idempotent) {
        transfer->resendRefused_ = true;
        return CURL_PREREQFUNC_ABORT;
    }
    return CURL_PREREQFUNC_OK;
}

size_t QMURLTransfer::onBody(char* buffer, size_t size, size_t count, void* self) {
    auto* transfer = static_cast<QMURLTransfer*>(self);
    transfer->received_ += size * count;
    if (transfer->received_ > transfer->maximumLength_) {
        // Anything but the full count ends the transfer (CURLE_WRITE_ERROR); completed() names why.
        transfer->tooLong_ = true;
        return 0;
    }
    transfer->postResponse();
    transfer->post([chunk = std::string(buffer, size * count)](QMURLTransfer& t) {
        if (auto deliver = t.events_.data) {
            deliver(chunk);
        }
    });
    return size * count;
}

void QMURLTransfer::headerLine(std::string line) {
    if (line.rfind("HTTP/", 0) == 0) {
        // A new status line: an interim (1xx) answer or a new response; its headers start over.
        const auto space = line.find(' ');
        status_ = space == std::string::npos ? 0 : std::strtol(line.c_str() + space + 1, nullptr, 10);
        responseHeaders_.clear();
        return;
    }
    line = trim(line);
    if (line.empty()) {
        if (status_ >= 200) {
            postResponse();
        }
        return;
    }
    const auto colon = line.find(':');
    if (colon != std::string::npos) {
        responseHeaders_.emplace_back(trim(line.substr(0, colon)), trim(line.substr(colon + 1)));
    }
}

void QMURLTransfer::postResponse() {
    if (responsePosted_) {
        return;
    }
    responsePosted_ = true;
    auto response = std::make_shared<QMHTTPURLResponse>(request_->URL(), status_, responseHeaders_);
    post([response](QMURLTransfer& t) {
        if (auto deliver = t.events_.response) {
            deliver(response);
        }
    });
}

void QMURLTransfer::completed(CURLcode result) {
    if (result == CURLE_OK) {
        postResponse();
        post([](QMURLTransfer& t) {
            if (auto deliver = t.events_.finish) {
                t.events_ = {};
                deliver();
            }
        });
    } else {
        post([error = failureFor(result)](QMURLTransfer& t) {
            if (auto deliver = t.events_.failure) {
                t.events_ = {};
                deliver(error);
            }
        });
    }
}

std::shared_ptr<QMError> QMURLTransfer::failureFor(CURLcode result) const {
    if (tooLong_) {
        return QMError::URLErrorWithCode(NSURLErrorDataLengthExceedsMaximum);
    }
    if (resendRefused_) {
        return QMError::URLErrorWithCode(NSURLErrorNetworkConnectionLost);
    }
    // After connecting, an unsupported protocol is an answer that is not HTTP (libcurl reads it
    // as HTTP/0.9, which it refuses), not a URL of an unknown scheme.
    const char* peer = nullptr;
    if (result == CURLE_UNSUPPORTED_PROTOCOL &&
        curl_easy_getinfo(easy_, CURLINFO_PRIMARY_IP, &peer) == CURLE_OK && peer && *peer) {
        return QMError::URLErrorWithCode(NSURLErrorBadServerResponse);
    }
    return errorForResult(result);
}

void QMURLTransfer::cancel() {
    if (cancelled_) {
        return;
    }
    cancelled_ = true;
    auto keepAlive = shared_from_this();
    Events released = std::move(events_);
    events_ = {};
    if (auto loop = loop_.lock()) {
        loop->removeTransfer(this);
    }
}

void QMURLTransfer::post(std::function<void(QMURLTransfer&)> step) {
    auto loop = loop_.lock();
    if (!loop) {
        return;
    }
    // The task holds the transfer, so events already queued survive its removal from the loop.
    auto self = std::static_pointer_cast<QMURLTransfer>(shared_from_this());
    loop->post([self, step = std::move(step)] {
        if (!self->cancelled_) {
            step(*self);
        }
    });
}

}  // namespace veyrakit
