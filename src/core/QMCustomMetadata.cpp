#include "veyrakit/QMCustomMetadata.h"

#include <utility>

namespace veyrakit {

QMCustomMetadata::QMCustomMetadata(std::optional<std::string> key,
                                   std::optional<std::vector<std::string>> values)
    : key_(std::move(key)), values_(std::move(values)) {}

std::optional<std::string> QMCustomMetadata::key() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return key_;
}

void QMCustomMetadata::setKey(std::optional<std::string> key) {
    std::lock_guard<std::mutex> lock(mutex_);
    key_ = std::move(key);
}

std::optional<std::vector<std::string>> QMCustomMetadata::values() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return values_;
}

void QMCustomMetadata::setValues(std::optional<std::vector<std::string>> values) {
    std::lock_guard<std::mutex> lock(mutex_);
    values_ = std::move(values);
}

}  // namespace veyrakit
