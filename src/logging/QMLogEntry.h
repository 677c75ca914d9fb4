#pragma once
#include <memory>
#include <optional>
#include <string>

#include "platform/QMJSON.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// One record of the remote log queue.
class QMLogEntry : public QMObject {
  public:
    QMLogEntry() = default;
    // Stamps the entry with the current date (yyyy-MM-dd'T'HH:mm:ss.SSS'Z', UTC).
    static std::shared_ptr<QMLogEntry> entryWithLog(const std::string& log, const std::string& level,
                                                    const std::optional<std::string>& prefix);

    const std::string& date() const { return date_; }
    void setDate(const std::string& date) { date_ = date; }
    const std::string& log() const { return log_; }
    void setLog(const std::string& log) { log_ = log; }
    const std::string& level() const { return level_; }
    void setLevel(const std::string& level) { level_ = level; }
    const std::optional<std::string>& prefix() const { return prefix_; }
    void setPrefix(const std::optional<std::string>& prefix) { prefix_ = prefix; }

    // {"date", "log", "level", "prefix"}; an absent prefix leaves its key out.
    QMJSON toJSON() const;

  private:
    std::string date_;
    std::string log_;
    std::string level_;
    std::optional<std::string> prefix_;
};

}  // namespace veyrakit
