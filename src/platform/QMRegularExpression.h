#pragma once
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

inline constexpr std::size_t NSNotFound = static_cast<std::size_t>(-1);

struct VEYRAKIT_EXPORT QMRange {
    std::size_t location = NSNotFound;
    std::size_t length = 0;
};

// One match: range 0 is the whole match, 1..n the capture groups (NSNotFound when a group did
// not take part). Offsets are in bytes of the UTF-8 subject.
struct VEYRAKIT_EXPORT QMTextCheckingResult {
    std::vector<QMRange> ranges;
    QMRange range() const { return ranges.empty() ? QMRange{} : ranges[0]; }
    QMRange rangeAtIndex(std::size_t i) const { return i < ranges.size() ? ranges[i] : QMRange{}; }
    std::size_t numberOfRanges() const { return ranges.size(); }
};

enum QMRegularExpressionOptions : unsigned {
    NSRegularExpressionCaseInsensitive = 1u << 0,
    NSRegularExpressionAnchorsMatchLines = 1u << 4,
    NSRegularExpressionDotMatchesLineSeparators = 1u << 3,
};

// PCRE2-backed regular expression with the platform's matching API. Enumerating the matches of
// valid UTF-8 costs one check of the subject's encoding in all, not one per match.
class VEYRAKIT_EXPORT QMRegularExpression : public QMObject {
  public:
    // nullptr (and `error` filled when given) for a pattern that does not compile.
    static std::shared_ptr<QMRegularExpression> regularExpressionWithPattern(const std::string& pattern,
                                                                             unsigned options,
                                                                             std::string* error = nullptr);
    ~QMRegularExpression() override;

    std::size_t numberOfMatchesInString(const std::string& string) const;
    std::vector<QMTextCheckingResult> matchesInString(const std::string& string) const;
    QMTextCheckingResult firstMatchInString(const std::string& string) const;  // empty ranges: none
    const std::string& pattern() const { return pattern_; }

    QMRegularExpression(std::string pattern, void* code, void* invalidUTFCode);

  private:
    std::string pattern_;
    void* code_;            // pcre2_code* for subjects of valid UTF-8
    void* invalidUTFCode_;  // pcre2_code* for the others: invalid sequences match nothing
};

// Substring helper for match ranges.
VEYRAKIT_EXPORT std::string QMSubstring(const std::string& s, QMRange range);

}  // namespace veyrakit
