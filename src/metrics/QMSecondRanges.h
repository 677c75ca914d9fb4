#pragma once
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>

namespace veyrakit {

// A set of whole seconds of media time kept as disjoint runs of consecutive seconds: a playhead
// that moves forward through hours of media makes one run (one map node), where a node per second
// would grow the heap for as long as the session plays.
class QMSecondRanges {
  public:
    QMSecondRanges() = default;
    QMSecondRanges(std::initializer_list<int32_t> seconds);

    // Adds one second; false when it was there already.
    bool insert(int32_t second);
    bool contains(int32_t second) const;
    // How many distinct seconds it holds.
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    void clear();

    bool operator==(const QMSecondRanges& other) const = default;

  private:
    // First second of each run -> its last second (inclusive). 64-bit so that the neighbour of
    // the last 32-bit second needs no special case.
    std::map<int64_t, int64_t> runs_;
    std::size_t size_ = 0;
};

}  // namespace veyrakit
