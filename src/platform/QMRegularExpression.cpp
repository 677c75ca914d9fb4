#define PCRE2_CODE_UNIT_WIDTH 8
#include "platform/QMRegularExpression.h"

#include <pcre2.h>

#include "platform/QMException.h"

namespace veyrakit {

namespace {

pcre2_code* compiled(void* code) { return static_cast<pcre2_code*>(code); }

uint32_t compileOptions(unsigned options) {
    uint32_t pcreOptions = PCRE2_UTF | PCRE2_UCP;
    if (options & NSRegularExpressionCaseInsensitive) {
        pcreOptions |= PCRE2_CASELESS;
    }
    if (options & NSRegularExpressionAnchorsMatchLines) {
        pcreOptions |= PCRE2_MULTILINE;
    }
    if (options & NSRegularExpressionDotMatchesLineSeparators) {
        pcreOptions |= PCRE2_DOTALL;
    }
    return pcreOptions;
}

bool isUTF8Error(int rc) { return rc <= PCRE2_ERROR_UTF8_ERR1 && rc >= PCRE2_ERROR_UTF8_ERR21; }

std::size_t utf8SequenceLength(unsigned char lead) {
    if (lead >= 0xF0) return 4;
    if (lead >= 0xE0) return 3;
    if (lead >= 0xC0) return 2;
    return 1;
}

// Calls `onMatch` for each successive non-overlapping match, the way the platform enumerates
// them: after an empty match the search resumes one character further on. Stops when onMatch
// returns false.
//
// PCRE2 checks the subject's UTF-8 from the starting offset to its end on every call, which over
// all the matches of a long text is quadratic. So the first call checks (the whole subject) and
// the later ones skip the check. A subject that is not valid UTF-8 is matched with `invalidUTF`,
// the same pattern compiled to treat invalid sequences as barriers no match crosses; that mode
// always checks, as far as the next invalid sequence.
template <typename OnMatch>
void enumerateMatches(pcre2_code* validUTF, pcre2_code* invalidUTF, const std::string& subject,
                      OnMatch onMatch) {
    const std::unique_ptr<pcre2_match_data, decltype(&pcre2_match_data_free)> owned(
        pcre2_match_data_create_from_pattern(validUTF, nullptr), &pcre2_match_data_free);
    pcre2_match_data* data = owned.get();
    const auto* text = reinterpret_cast<PCRE2_SPTR>(subject.data());
    const std::size_t length = subject.size();
    pcre2_code* code = validUTF;
    int rc = pcre2_match(code, text, length, 0, 0, data, nullptr);
    if (isUTF8Error(rc)) {
        code = invalidUTF;
        rc = pcre2_match(code, text, length, 0, 0, data, nullptr);
    }
    const uint32_t options = code == validUTF ? PCRE2_NO_UTF_CHECK : 0;
    while (rc >= 0) {
        const PCRE2_SIZE* ovector = pcre2_get_ovector_pointer(data);
        const uint32_t pairs = pcre2_get_ovector_count(data);
        QMTextCheckingResult result;
        result.ranges.resize(pairs);
        for (std::size_t i = 0; i < pairs; ++i) {
            // A group that did not take part keeps {NSNotFound, 0}.
            if (ovector[2 * i] != PCRE2_UNSET && ovector[2 * i] <= ovector[2 * i + 1]) {
                result.ranges[i] = QMRange{ovector[2 * i], ovector[2 * i + 1] - ovector[2 * i]};
            }
        }
        const std::size_t start = ovector[0];
        const std::size_t end = ovector[1];
        if (!onMatch(std::move(result))) {
            break;
        }
        std::size_t offset = end;
        if (end == start) {
            if (end >= length) {
                break;
            }
            offset = end + utf8SequenceLength(static_cast<unsigned char>(subject[end]));
        }
        if (offset > length) {
            break;
        }
        rc = pcre2_match(code, text, length, offset, options, data, nullptr);
    }
}

}  // namespace

QMRegularExpression::QMRegularExpression(std::string pattern, void* code, void* invalidUTFCode)
    : pattern_(std::move(pattern)), code_(code), invalidUTFCode_(invalidUTFCode) {}

QMRegularExpression::~QMRegularExpression() {
    pcre2_code_free(compiled(code_));
    pcre2_code_free(compiled(invalidUTFCode_));
}

std::shared_ptr<QMRegularExpression> QMRegularExpression::regularExpressionWithPattern(
    const std::string& pattern, unsigned options, std::string* error) {
    int errorCode = 0;
    PCRE2_SIZE errorOffset = 0;
    pcre2_compile_context* context = pcre2_compile_context_create(nullptr);
    // The platform counts every Unicode line terminator as a line end for "$", "^" and ".".
    pcre2_set_newline(context, PCRE2_NEWLINE_ANY);
    const auto compile = [&](uint32_t extraOptions) {
        return pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                             compileOptions(options) | extraOptions, &errorCode, &errorOffset, context);
    };
    pcre2_code* code = compile(0);
    // Subjects are UTF-8; invalid sequences in a subject must not make matching fail outright.
    pcre2_code* invalidUTFCode = code ? compile(PCRE2_MATCH_INVALID_UTF) : nullptr;
    pcre2_compile_context_free(context);
    if (!invalidUTFCode) {
        pcre2_code_free(code);
        if (error) {
            PCRE2_UCHAR message[256];
            pcre2_get_error_message(errorCode, message, sizeof message);
            *error = std::string(reinterpret_cast<const char*>(message)) + " at offset " +
                     std::to_string(errorOffset);
        }
        return nullptr;
    }
    return std::make_shared<QMRegularExpression>(pattern, code, invalidUTFCode);
}

std::size_t QMRegularExpression::numberOfMatchesInString(const std::string& string) const {
    std::size_t count = 0;
    enumerateMatches(compiled(code_), compiled(invalidUTFCode_), string, [&](QMTextCheckingResult&&) {
        ++count;
        return true;
    });
    return count;
}

std::vector<QMTextCheckingResult> QMRegularExpression::matchesInString(const std::string& string) const {
    std::vector<QMTextCheckingResult> matches;
    enumerateMatches(compiled(code_), compiled(invalidUTFCode_), string, [&](QMTextCheckingResult&& result) {
        matches.push_back(std::move(result));
        return true;
    });
    return matches;
}

QMTextCheckingResult QMRegularExpression::firstMatchInString(const std::string& string) const {
    QMTextCheckingResult first;
    enumerateMatches(compiled(code_), compiled(invalidUTFCode_), string, [&](QMTextCheckingResult&& result) {
        first = std::move(result);
        return false;
    });
    return first;
}

std::string QMSubstring(const std::string& s, QMRange range) {
    if (range.location == NSNotFound || range.location > s.size() ||
        range.length > s.size() - range.location) {
        throw QMInvalidArgumentException("Range {" + std::to_string(range.location) + ", " +
                                         std::to_string(range.length) + "} out of bounds; string length " +
                                         std::to_string(s.size()));
    }
    return s.substr(range.location, range.length);
}

}  // namespace veyrakit
