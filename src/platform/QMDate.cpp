#include "veyrakit/platform/QMDate.h"

#include <cmath>
#include <cstdio>
#include <ctime>

#include "platform/QMClock.h"

namespace veyrakit {

namespace {

const char* const kMonthNames[] = {"January", "February", "March",     "April",   "May",      "June",
                                   "July",    "August",   "September", "October", "November", "December"};
const char* const kDayNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                 "Thursday", "Friday", "Saturday"};

// The fields of a date in UTC. The date's seconds are read back to whole microseconds first
// (the finest resolution any clock hands us), so that 1700000000.123 shows .123 and not .122.
struct Fields {
    tm calendar{};
    int64_t micros = 0;  // within the second, 0..999999
};

Fields fieldsOf(double seconds) {
    const auto totalMicros = static_cast<int64_t>(std::llround(seconds * 1e6));
    int64_t whole = totalMicros / 1'000'000;
    int64_t micros = totalMicros % 1'000'000;
    if (micros < 0) {
        micros += 1'000'000;
        whole -= 1;
    }
    Fields fields;
    const auto t = static_cast<time_t>(whole);
    gmtime_r(&t, &fields.calendar);
    fields.micros = micros;
    return fields;
}

void appendNumber(std::string& out, long value, std::size_t minimumDigits) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%0*ld", static_cast<int>(minimumDigits), value);
    out += buffer;
}

// One run of a pattern letter ("yyyy", "MM", "SSS", ...), as the platform's formatter reads it.
void appendField(std::string& out, char letter, std::size_t count, const Fields& f) {
    const tm& c = f.calendar;
    switch (letter) {
        case 'y': {
            const long year = c.tm_year + 1900L;
            appendNumber(out, count == 2 ? year % 100 : year, count);
            break;
        }
        case 'M':
        case 'L':
            if (count >= 4) {
                out += kMonthNames[c.tm_mon];
            } else if (count == 3) {
                out.append(kMonthNames[c.tm_mon], 3);
            } else {
                appendNumber(out, c.tm_mon + 1, count);
            }
            break;
        case 'd':
            appendNumber(out, c.tm_mday, count);
            break;
        case 'D':
            appendNumber(out, c.tm_yday + 1, count);
            break;
        case 'H':
            appendNumber(out, c.tm_hour, count);
            break;
        case 'h':
            appendNumber(out, c.tm_hour % 12 == 0 ? 12 : c.tm_hour % 12, count);
            break;
        case 'm':
            appendNumber(out, c.tm_min, count);
            break;
        case 's':
            appendNumber(out, c.tm_sec, count);
            break;
        case 'S': {
            // Fractional seconds are cut, not rounded, to the number of letters.
            std::string digits;
            appendNumber(digits, static_cast<long>(f.micros), 6);
            digits.resize(count, '0');
            out += digits;
            break;
        }
        case 'a':
            out += c.tm_hour < 12 ? "AM" : "PM";
            break;
        case 'E':
            if (count >= 4) {
                out += kDayNames[c.tm_wday];
            } else {
                out.append(kDayNames[c.tm_wday], 3);
            }
            break;
        case 'Z':
            out += count == 4 ? "GMT" : count == 5 ? "Z" : "+0000";
            break;
        case 'X':
            out += "Z";
            break;  // ISO 8601 zone: UTC is "Z"
        case 'z':
            out += count >= 4 ? "Coordinated Universal Time" : "UTC";
            break;
        default:
            out.append(count, letter);
            break;
    }
}

}  // namespace

QMDate::QMDate(double timeIntervalSince1970) : seconds_(timeIntervalSince1970) {}

std::shared_ptr<QMDate> QMDate::date() { return std::make_shared<QMDate>(QMClock::timeIntervalSince1970()); }

std::shared_ptr<QMDate> QMDate::dateWithTimeIntervalSince1970(double seconds) {
    return std::make_shared<QMDate>(seconds);
}

std::string QMDate::formatUTC(const std::string& pattern) const {
    const Fields fields = fieldsOf(seconds_);
    std::string out;
    std::size_t i = 0;
    while (i < pattern.size()) {
        const char c = pattern[i];
        if (c == '\'') {
            // Quoted literal; '' stands for one quote, inside or outside a literal.
            std::size_t j = i + 1;
            if (j < pattern.size() && pattern[j] == '\'') {
                out += '\'';
                i = j + 1;
                continue;
            }
            while (j < pattern.size()) {
                if (pattern[j] == '\'' && j + 1 < pattern.size() && pattern[j + 1] == '\'') {
                    out += '\'';
                    j += 2;
                } else if (pattern[j] == '\'') {
                    break;
                } else {
                    out += pattern[j++];
                }
            }
            i = j + 1;
        } else if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) {
            std::size_t j = i;
            while (j < pattern.size() && pattern[j] == c) {
                ++j;
            }
            appendField(out, c, j - i, fields);
            i = j;
        } else {
            out += c;
            ++i;
        }
    }
    return out;
}

std::string QMDate::description() const { return formatUTC("yyyy-MM-dd HH:mm:ss Z"); }

}  // namespace veyrakit
