#include "collector/QMBoundedJSON.h"

#include <vector>

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

// Counts nesting and keys as the parser reports them; returning false stops the parser at once.
class BoundsCounter {
  public:
    QMBoundedJSON::Verdict verdict = QMBoundedJSON::Verdict::Within;

    bool null() { return true; }
    bool boolean(bool /*value*/) { return true; }
    bool number_integer(Json::number_integer_t /*value*/) { return true; }
    bool number_unsigned(Json::number_unsigned_t /*value*/) { return true; }
    bool number_float(Json::number_float_t /*value*/, const std::string& /*text*/) { return true; }
    bool string(std::string& /*value*/) { return true; }
    bool binary(Json::binary_t& /*value*/) { return true; }
    bool start_object(size_t /*size*/) { return open(); }
    bool start_array(size_t /*size*/) { return open(); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool key(std::string& /*key*/) {
        if (++keys_.back() <= QMBoundedJSON::kMaxObjectKeys) return true;
        verdict = QMBoundedJSON::Verdict::TooManyKeys;
        return false;
    }
    bool parse_error(size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& /*error*/) {
        verdict = QMBoundedJSON::Verdict::NotJSON;
        return false;
    }

  private:
    bool open() {
        if (keys_.size() == QMBoundedJSON::kMaxDepth) {
            verdict = QMBoundedJSON::Verdict::TooDeep;
            return false;
        }
        // An array takes a slot too, so that the stack's size is the depth; its count stays 0.
        keys_.push_back(0);
        return true;
    }
    bool close() {
        keys_.pop_back();
        return true;
    }

    std::vector<size_t> keys_;  // keys seen so far, per open container
};

}  // namespace

QMBoundedJSON::Verdict QMBoundedJSON::scan(const std::string& text) {
    BoundsCounter counter;
    if (Json::sax_parse(text, &counter)) return Verdict::Within;
    return counter.verdict == Verdict::Within ? Verdict::NotJSON : counter.verdict;
}

std::optional<nlohmann::ordered_json> QMBoundedJSON::parse(const std::string& text) {
    if (scan(text) != Verdict::Within) return std::nullopt;
    Json parsed = Json::parse(text, nullptr, false);
    if (parsed.is_discarded()) return std::nullopt;
    return parsed;
}

std::string QMBoundedJSON::problem(Verdict verdict) {
    switch (verdict) {
        case Verdict::TooDeep:
            return "the JSON body nests deeper than " + std::to_string(kMaxDepth) + " levels";
        case Verdict::TooManyKeys:
            return "an object in the JSON body has more than " + std::to_string(kMaxObjectKeys) + " keys";
        case Verdict::Within:
        case Verdict::NotJSON:
            break;
    }
    return "";
}

}  // namespace veyrakit
