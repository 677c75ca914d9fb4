#include "logging/QMLogEntry.h"

#include "logging/QMDateQuamira.h"

namespace veyrakit {

std::shared_ptr<QMLogEntry> QMLogEntry::entryWithLog(const std::string& log, const std::string& level,
                                                     const std::optional<std::string>& prefix) {
    auto entry = std::make_shared<QMLogEntry>();
    entry->setDate(QMDateQuamira::toString(*QMDate::date()));
    entry->setLog(log);
    entry->setLevel(level);
    entry->setPrefix(prefix);
    return entry;
}

QMJSON QMLogEntry::toJSON() const {
    QMJSON json = QMJSON::object();
    json["date"] = date_;
    json["log"] = log_;
    json["level"] = level_;
    if (prefix_) {
        json["prefix"] = *prefix_;
    }
    return json;
}

}  // namespace veyrakit
