#include "collector/QMRequestGate.h"

#include <arpa/inet.h>
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace veyrakit {

namespace {

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// The name part of a Host value: "[::1]:8080" gives "[::1]", "localhost:8080" "localhost".
std::string hostName(const std::string& host) {
    if (!host.empty() && host.front() == '[') return lowered(host.substr(0, host.find(']') + 1));
    return lowered(host.substr(0, host.find(':')));
}

// An address as a Host names it: IPv6 in brackets.
std::string asHostName(const std::string& address) {
    return lowered(address.find(':') == std::string::npos ? address : "[" + address + "]");
}

bool isLoopback(const std::string& name) {
    in_addr v4{};
    if (inet_pton(AF_INET, name.c_str(), &v4) == 1) return (ntohl(v4.s_addr) >> 24) == 127;
    return name == "[::1]" || name == "localhost";
}

}  // namespace

QMRequestGate::QMRequestGate(const std::string& listenHost, size_t maxBodyBytes)
    : listenHost_(asHostName(listenHost)), maxBodyBytes_(maxBodyBytes) {}

bool QMRequestGate::namesThisCollector(const std::string& host, const std::string& localAddress) const {
    std::string name = hostName(host);
    return isLoopback(name) || name == listenHost_ ||
           (!localAddress.empty() && name == asHostName(localAddress));
}

std::optional<QMRequestGate::Refusal> QMRequestGate::check(const httplib::Request& request) const {
    // Without a Host (HTTP/1.0) there is no name to have been rebound; no browser sends such a request.
    const bool hasHost = request.has_header("Host");
    const std::string host = request.get_header_value("Host");
    if (hasHost && !namesThisCollector(host, request.local_addr))
        return Refusal{421, "the Host header names another server"};
    if (request.has_header("Origin") &&
        (!hasHost || strcasecmp(request.get_header_value("Origin").c_str(), ("http://" + host).c_str()) != 0))
        return Refusal{403, "requests from web pages of another origin are refused"};
    const std::string encoding = request.get_header_value("Content-Encoding");
    if (!encoding.empty() && strcasecmp(encoding.c_str(), "identity") != 0)
        return Refusal{415, "compressed bodies are not accepted"};
    const std::string length = request.get_header_value("Content-Length");
    uint64_t declared = 0;
    const auto parsed = std::from_chars(length.data(), length.data() + length.size(), declared).ec;
    if ((parsed == std::errc() && declared > maxBodyBytes_) || parsed == std::errc::result_out_of_range)
        return Refusal{413, "the body is larger than " + std::to_string(maxBodyBytes_) + " bytes"};
    return std::nullopt;
}

}  // namespace veyrakit
