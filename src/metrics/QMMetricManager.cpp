#include "metrics/QMMetricManager.h"

#include <exception>
#include <utility>

#include "logging/QMLogger.h"
#include "platform/QMFormat.h"

namespace veyrakit {

namespace {
const std::string kManagerPrefix = "X";

// Runs one metric's lifecycle step; its exception is logged so the remaining metrics still run.
template <typename Step>
void guarded(const std::shared_ptr<QMMetric>& metric, const std::string& errorFormat, Step step) {
    try {
        step(*metric);
    } catch (const std::exception& e) {
        QMLogger::error(QMFormat(errorFormat, e.what(), metric), kManagerPrefix);
    }
}
}  // namespace

void QMMetricManager::start() {
    startMonitoringForAllMetrics();
    started_ = true;
}

void QMMetricManager::startMonitoringForAllMetrics() {
    for (const auto& [key, metric] : metricsMap()) {
        if (metric) {
            guarded(metric, "Error %@ thrown during startMetricCollection for metric %@",
                    [](QMMetric& m) { m.startMetricCollection(); });
        }
    }
}

QMJSON QMMetricManager::serializeMetricValues() {
    QMJSON result = QMJSON::object();
    for (const auto& [key, metric] : metricsMap()) {
        if (!metric || !metric->canCollectMetric()) {
            continue;
        }
        std::optional<QMJSON> values = metric->collectMetric();
        if (!values || !values->is_object()) {
            continue;
        }
        for (auto& [name, value] : values->items()) {
            result[name] = value;  // a later metric overwrites an equal name
        }
    }
    return result;
}

void QMMetricManager::isSentSuccessfully(bool value) {
    for (const auto& [key, metric] : metricsMap()) {
        if (metric) {
            metric->setIsSentSuccessfully(value);
        }
    }
}

void QMMetricManager::dispose() {
    if (!started_) {
        return;
    }
    for (const auto& [key, metric] : metricsMap()) {
        if (metric) {
            guarded(metric, "Error %@ thrown during stopMetricCollection for metric %@",
                    [](QMMetric& m) { m.stopMetricCollection(); });
        }
    }
}

QMMetricManager::MetricsMap QMMetricManager::metricsMap() const {
    std::lock_guard<std::mutex> lock(mapMutex_);
    return metricsMap_;
}

void QMMetricManager::setMetricsMap(MetricsMap metricsMap) {
    std::lock_guard<std::mutex> lock(mapMutex_);
    metricsMap_ = std::move(metricsMap);
}

void QMMetricManager::insertMetric(int key, std::shared_ptr<QMMetric> metric) {
    std::lock_guard<std::mutex> lock(mapMutex_);
    metricsMap_[key] = std::move(metric);
}

std::shared_ptr<QMMetric> QMMetricManager::metricForKey(int key) const {
    std::lock_guard<std::mutex> lock(mapMutex_);
    auto it = metricsMap_.find(key);
    return it == metricsMap_.end() ? nullptr : it->second;
}

}  // namespace veyrakit
