#include "QMAllocationCounter.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace veyrakit {

namespace {

std::atomic<int64_t> gAllocations{0};
std::atomic<int64_t> gLiveBytes{0};
std::atomic<int64_t> gHighWater{0};

void noteAllocated(void* block) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    const auto size = static_cast<int64_t>(malloc_usable_size(block));
    const int64_t live = gLiveBytes.fetch_add(size, std::memory_order_relaxed) + size;
    int64_t high = gHighWater.load(std::memory_order_relaxed);
    while (live > high && !gHighWater.compare_exchange_weak(high, live, std::memory_order_relaxed)) {
    }
}

void* allocate(std::size_t size) {
    void* block = std::malloc(size == 0 ? 1 : size);
    if (!block) {
        throw std::bad_alloc();
    }
    noteAllocated(block);
    return block;
}

void* allocateAligned(std::size_t size, std::align_val_t alignment) {
    const auto align = static_cast<std::size_t>(alignment);
    void* block = std::aligned_alloc(align, (size + align - 1) / align * align);
    if (!block) {
        throw std::bad_alloc();
    }
    noteAllocated(block);
    return block;
}

void release(void* block) noexcept {
    if (block) {
        gLiveBytes.fetch_sub(static_cast<int64_t>(malloc_usable_size(block)), std::memory_order_relaxed);
        std::free(block);
    }
}

}  // namespace

int64_t QMAllocationCounter::allocations() { return gAllocations.load(std::memory_order_relaxed); }
int64_t QMAllocationCounter::liveBytes() { return gLiveBytes.load(std::memory_order_relaxed); }
int64_t QMAllocationCounter::highWaterBytes() { return gHighWater.load(std::memory_order_relaxed); }
void QMAllocationCounter::resetHighWater() { gHighWater.store(liveBytes(), std::memory_order_relaxed); }

}  // namespace veyrakit

// The replaced global allocation functions (they cannot live in a namespace).
void* operator new(std::size_t size) { return veyrakit::allocate(size); }
void* operator new[](std::size_t size) { return veyrakit::allocate(size); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return veyrakit::allocateAligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return veyrakit::allocateAligned(size, alignment);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return veyrakit::allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* block) noexcept { veyrakit::release(block); }
void operator delete[](void* block) noexcept { veyrakit::release(block); }
void operator delete(void* block, std::size_t) noexcept { veyrakit::release(block); }
void operator delete[](void* block, std::size_t) noexcept { veyrakit::release(block); }
void operator delete(void* block, std::align_val_t) noexcept { veyrakit::release(block); }
void operator delete[](void* block, std::align_val_t) noexcept { veyrakit::release(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { veyrakit::release(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { veyrakit::release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { veyrakit::release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { veyrakit::release(block); }
