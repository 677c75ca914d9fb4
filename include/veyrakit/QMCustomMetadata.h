#pragma once
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// One piece of asset or viewer metadata given by the host: a key and its values. Either may be
// absent. Accessors are atomic.
class VEYRAKIT_EXPORT QMCustomMetadata : public QMObject {
  public:
    QMCustomMetadata() = default;
    QMCustomMetadata(std::optional<std::string> key, std::optional<std::vector<std::string>> values);

    std::optional<std::string> key() const;
    void setKey(std::optional<std::string> key);
    std::optional<std::vector<std::string>> values() const;
    void setValues(std::optional<std::vector<std::string>> values);

  private:
    mutable std::mutex mutex_;
    std::optional<std::string> key_;
    std::optional<std::vector<std::string>> values_;
};

using QMCustomMetadataArray = std::vector<std::shared_ptr<QMCustomMetadata>>;

}  // namespace veyrakit
