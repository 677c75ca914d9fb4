#include "metrics/QMSecondRanges.h"

#include <iterator>

namespace veyrakit {

QMSecondRanges::QMSecondRanges(std::initializer_list<int32_t> seconds) {
    for (int32_t second : seconds) {
        insert(second);
    }
}

bool QMSecondRanges::insert(int32_t second) {
    const int64_t value = second;
    auto next = runs_.upper_bound(value);
    if (next != runs_.begin()) {
        auto previous = std::prev(next);
        if (previous->second >= value) {
            return false;
        }
        if (previous->second + 1 == value) {
            previous->second = value;
            // The second may close the gap to the next run: the two become one.
            if (next != runs_.end() && next->first == value + 1) {
                previous->second = next->second;
                runs_.erase(next);
            }
            ++size_;
            return true;
        }
    }
    if (next != runs_.end() && next->first == value + 1) {
        const int64_t last = next->second;
        runs_.erase(next);
        runs_.emplace(value, last);
    } else {
        runs_.emplace(value, value);
    }
    ++size_;
    return true;
}

bool QMSecondRanges::contains(int32_t second) const {
    auto next = runs_.upper_bound(second);
    return next != runs_.begin() && std::prev(next)->second >= second;
}

void QMSecondRanges::clear() {
    runs_.clear();
    size_ = 0;
}

}  // namespace veyrakit
