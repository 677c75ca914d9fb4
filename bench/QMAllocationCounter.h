#pragma once
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>

namespace veyrakit {

// The bench binary's view of the heap: global operator new/delete are replaced (in this binary
// only) so that every allocation is counted and the bytes in use are known at any moment. Safe
// from any thread; the figures are process-wide.
class QMAllocationCounter {
  public:
    static int64_t allocations();
    static int64_t liveBytes();
    // Highest liveBytes since the last resetHighWater().
    static int64_t highWaterBytes();
    static void resetHighWater();
};

// Keeps what a benchmark records for itself (the requests it replays afterwards) out of the
// counted heap: blocks come straight from malloc.
template <class T>
struct QMUncountedAllocator {
    using value_type = T;
    QMUncountedAllocator() = default;
    template <class U>
    explicit QMUncountedAllocator(const QMUncountedAllocator<U>& /*other*/) {}
    T* allocate(std::size_t count) {
        if (auto* block = static_cast<T*>(std::malloc(count * sizeof(T)))) {
            return block;
        }
        throw std::bad_alloc();
    }
    void deallocate(T* block, std::size_t /*count*/) { std::free(block); }
    friend bool operator==(const QMUncountedAllocator&, const QMUncountedAllocator&) { return true; }
};

using QMUncountedString = std::basic_string<char, std::char_traits<char>, QMUncountedAllocator<char>>;

}  // namespace veyrakit
