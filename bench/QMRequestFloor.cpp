#include "QMRequestFloor.h"

#include <curl/curl.h>

#include <memory>
#include <string_view>
#include <vector>

#include "QMThreadClock.h"

namespace veyrakit {

namespace {

size_t discard(char* /*buffer*/, size_t size, size_t count, void* /*unused*/) { return size * count; }

using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

// libcurl writes Host and Content-Length itself, as it did for the SDK.
HeaderList headerList(const QMUncountedString& lines) {
    curl_slist* list = nullptr;
    std::string_view rest(lines);
    while (!rest.empty()) {
        const auto end = rest.find('\n');
        const std::string line(rest.substr(0, end));
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        const std::string_view field = std::string_view(line).substr(0, line.find(':'));
        if (field != "Host" && field != "Content-Length") {
            list = curl_slist_append(list, line.c_str());
        }
    }
    return {list, &curl_slist_free_all};
}

}  // namespace

QMRequestFloor::Figures QMRequestFloor::replay(const std::string& baseURL,
                                               const QMBenchTraffic::KeptRequests& requests) {
    // Everything a loop would build once is built before the clock starts.
    std::vector<HeaderList> headers;
    std::vector<std::string> urls;
    for (const auto& request : requests) {
        headers.push_back(headerList(request.headers));
        urls.push_back(baseURL + std::string(request.target.data(), request.target.size()));
    }
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(), &curl_easy_cleanup);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, &discard);

    Figures figures;
    const int64_t before = QMThreadClock::currentThreadCpuNanos();
    for (std::size_t i = 0; i < requests.size(); ++i) {
        const auto& request = requests[i];
        curl_easy_setopt(easy.get(), CURLOPT_URL, urls[i].c_str());
        curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, headers[i].get());
        if (request.method == "POST") {
            curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDSIZE_LARGE,
                             static_cast<curl_off_t>(request.body.size()));
            curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDS, request.body.data());
        } else {
            curl_easy_setopt(easy.get(), CURLOPT_HTTPGET, 1L);
        }
        long status = 0;
        if (curl_easy_perform(easy.get()) != CURLE_OK ||
            curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status) != CURLE_OK || status == 0) {
            ++figures.failures;
        }
        ++figures.requests;
    }
    if (figures.requests > 0) {
        figures.cpuMicrosPerRequest = static_cast<double>(QMThreadClock::currentThreadCpuNanos() - before) /
                                      1000.0 / static_cast<double>(figures.requests);
    }
    return figures;
}

}  // namespace veyrakit
