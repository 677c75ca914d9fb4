#include "QMBenchTraffic.h"

namespace veyrakit {

std::pair<int, std::string> QMBenchTraffic::answer(const std::string& method, const std::string& target,
                                                   const QMURLRequest::Headers& headers,
                                                   const std::string& body) {
    int64_t size = static_cast<int64_t>(method.size() + 1 + target.size() + sizeof(" HTTP/1.1\r\n") - 1);
    for (const auto& [field, value] : headers) {
        size += static_cast<int64_t>(field.size() + 2 + value.size() + 2);
    }
    size += 2 + static_cast<int64_t>(body.size());
    bytes_ += size;
    ++requests_;
    keep(method, target, headers, body);

    const auto endsWith = [&target](const std::string& suffix) {
        return target.size() >= suffix.size() &&
               target.compare(target.size() - suffix.size(), suffix.size(), suffix) == 0;
    };
    if (endsWith("/player/init")) {
        return {200, R"({"sessionId":"B-1","intervalSeconds":)" +
                         std::to_string(reportIntervalSeconds_ * 1000) + "}"};
    }
    if (endsWith(".m3u8")) {
        return {200,
                "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=800000,RESOLUTION=960x540\n800000/index.m3u8\n"
                "#EXT-X-STREAM-INF:BANDWIDTH=1500000,RESOLUTION=1280x720\n1500000/index.m3u8\n"};
    }
    if (endsWith("/player/report") && body.find(R"("type":"P")") != std::string::npos) {
        ++periodicalReports_;
    }
    return {200, "{}"};
}

void QMBenchTraffic::keepRequests(std::size_t count) {
    std::lock_guard<std::mutex> lock(keptMutex_);
    keepCount_ = count;
    kept_.clear();
    kept_.reserve(count);
}

QMBenchTraffic::KeptRequests QMBenchTraffic::keptRequests() const {
    std::lock_guard<std::mutex> lock(keptMutex_);
    return kept_;
}

void QMBenchTraffic::keep(const std::string& method, const std::string& target,
                          const QMURLRequest::Headers& headers, const std::string& body) {
    std::lock_guard<std::mutex> lock(keptMutex_);
    if (kept_.size() >= keepCount_) {
        return;
    }
    Kept request{QMUncountedString(method.data(), method.size()),
                 QMUncountedString(target.data(), target.size()),
                 {},
                 QMUncountedString(body.data(), body.size())};
    for (const auto& [field, value] : headers) {
        request.headers.append(field.data(), field.size()).append(": ").append(value.data(), value.size());
        request.headers += '\n';
    }
    kept_.push_back(std::move(request));
}

}  // namespace veyrakit
