#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// A point in time (the platform date): seconds since 1970 as a double.
class VEYRAKIT_EXPORT QMDate : public QMObject {
  public:
    explicit QMDate(double timeIntervalSince1970);
    static std::shared_ptr<QMDate> date();  // now, on the run loop's clock
    static std::shared_ptr<QMDate> dateWithTimeIntervalSince1970(double seconds);

    double timeIntervalSince1970() const { return seconds_; }
    // Formats with a pattern of the platform's date formatter (yyyy MM dd HH mm ss SSS and quoted
    // literals such as 'T' and 'Z') in UTC.
    std::string formatUTC(const std::string& pattern) const;
    // "2026-11-21 09:44:00 +0000", as the platform describes a date.
    std::string description() const override;

  private:
    double seconds_;
};

}  // namespace veyrakit
