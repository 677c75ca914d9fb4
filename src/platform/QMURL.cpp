#include "veyrakit/platform/QMURL.h"

#include <curl/curl.h>
#include <unistd.h>

#include <cctype>
#include <climits>
#include <cstdlib>
#include <utility>

namespace veyrakit {

namespace {

using CurlURL = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

// Schemes libcurl itself cannot fetch (custom app schemes) are still URLs.
constexpr unsigned kParseFlags = CURLU_NON_SUPPORT_SCHEME;

CurlURL parse(const std::string& text) {
    CurlURL handle(curl_url(), &curl_url_cleanup);
    if (!handle || curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), kParseFlags) != CURLUE_OK) {
        return CurlURL(nullptr, &curl_url_cleanup);
    }
    return handle;
}

std::optional<std::string> part(const std::string& text, CURLUPart which, unsigned flags = 0) {
    CurlURL handle = parse(text);
    char* value = nullptr;
    if (!handle || curl_url_get(handle.get(), which, &value, flags) != CURLUE_OK || !value) {
        return std::nullopt;
    }
    std::string result(value);
    curl_free(value);
    return result;
}

bool isUnreservedInPath(unsigned char c) {
    return std::isalnum(c) || c == '/' || c == '-' || c == '_' || c == '.' || c == '~';
}

std::string percentEncodePath(const std::string& path) {
    static const char* hex = "0123456789ABCDEF";
    std::string encoded;
    for (unsigned char c : path) {
        if (isUnreservedInPath(c)) {
            encoded += static_cast<char>(c);
        } else {
            encoded += '%';
            encoded += hex[c >> 4];
            encoded += hex[c & 0xF];
        }
    }
    return encoded;
}

}  // namespace

QMURL::QMURL(std::string absoluteString) : absoluteString_(std::move(absoluteString)) {}

std::shared_ptr<QMURL> QMURL::URLWithString(const std::string& string) {
    if (!parse(string)) {
        return nullptr;
    }
    return std::make_shared<QMURL>(string);
}

std::shared_ptr<QMURL> QMURL::URLWithString(const std::string& string, const QMURL& baseURL) {
    // Set on a handle that holds a URL already, a relative reference is resolved against it.
    CurlURL handle = parse(baseURL.absoluteString_);
    char* resolved = nullptr;
    if (!handle || curl_url_set(handle.get(), CURLUPART_URL, string.c_str(), kParseFlags) != CURLUE_OK ||
        curl_url_get(handle.get(), CURLUPART_URL, &resolved, 0) != CURLUE_OK || !resolved) {
        return nullptr;
    }
    auto url = std::make_shared<QMURL>(resolved);
    curl_free(resolved);
    return url;
}

std::shared_ptr<QMURL> QMURL::fileURLWithPath(const std::string& path) {
    std::string absolute = path;
    if (absolute.empty() || absolute.front() != '/') {
        char cwd[PATH_MAX];
        absolute = std::string(getcwd(cwd, sizeof cwd) ? cwd : "") + "/" + absolute;
    }
    return std::make_shared<QMURL>("file://" + percentEncodePath(absolute));
}

std::string QMURL::scheme() const { return part(absoluteString_, CURLUPART_SCHEME).value_or(""); }

std::string QMURL::host() const {
    return part(absoluteString_, CURLUPART_HOST, CURLU_URLDECODE).value_or("");
}

std::optional<int> QMURL::port() const {
    auto text = part(absoluteString_, CURLUPART_PORT);
    return text ? std::optional<int>(std::atoi(text->c_str())) : std::nullopt;
}

std::string QMURL::path() const {
    return part(absoluteString_, CURLUPART_PATH, CURLU_URLDECODE).value_or("");
}

std::string QMURL::pathExtension() const {
    const std::string p = path();
    const std::string lastComponent = p.substr(p.find_last_of('/') + 1);
    const auto dot = lastComponent.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? std::string() : lastComponent.substr(dot + 1);
}

bool QMURL::isFileURL() const { return scheme() == "file"; }

}  // namespace veyrakit
