#pragma once
#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>

#include "metrics/QMMetric.h"
#include "platform/QMConsole.h"
#include "support/QMConsoleCapture.h"

namespace veyrakit {

// A metric whose answers are set by the test and which counts every call the manager makes.
class QMRecordingMetric : public QMMetric {
  public:
    bool collectable = true;
    std::optional<QMJSON> values = QMJSON::object();
    std::optional<std::string> startFailure, stopFailure, collectFailure;
    int starts = 0, stops = 0, calculations = 0, resets = 0;

    void startMetricCollection() override { ++starts, fail(startFailure); }
    void stopMetricCollection() override { ++stops, fail(stopFailure); }
    bool canCollectMetric() override { return collectable; }
    std::optional<QMJSON> calculateMetric() override { return ++calculations, fail(collectFailure), values; }
    void afterMetricCollected() override { ++resets; }

  private:
    static void fail(const std::optional<std::string>& what) {
        if (what) throw std::runtime_error(*what);
    }
};

// Console lines the logger wrote with this level, prefix and message (the closing date is not compared).
inline long loggerLines(const QMConsoleCapture& console, const std::string& level, const std::string& prefix,
                        const std::string& message) {
    const std::string head = level + " " + prefix + "\t{" + message + "}{";
    auto lines = console.lines();
    return std::count_if(lines.begin(), lines.end(),
                         [&](const std::string& l) { return l.rfind(head, 0) == 0; });
}

// "name: reason" of the exception of type E that fn throws; nothing when it throws none.
template <typename E, typename Fn>
std::optional<std::string> thrownBy(Fn fn) {
    try {
        fn();
    } catch (const E& e) {
        return e.name() + ": " + e.reason();
    }
    return std::nullopt;
}

}  // namespace veyrakit
