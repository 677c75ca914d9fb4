#pragma once
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>

namespace veyrakit {

// The open connections of one port, for a bound on their number and for ending them all at stop.
// A connection past the bound makes room: the one that has waited longest on its client (since
// its request's first byte, or since it went idle) is shut down, so a flood of slow or idle
// connections cannot keep a new request out. Thread-safe.
class QMConnectionRegistry {
  public:
    explicit QMConnectionRegistry(size_t capacity) : capacity_(capacity) {}

    // Registers a connection's socket; its id.
    uint64_t add(int socket);
    // The connection starts waiting on its client again: a new request, or idle.
    void touch(uint64_t id);
    // Called before the socket is closed, so that it is never shut down once its number is reused.
    void remove(uint64_t id);
    // Shuts every connection down, and every one added from now on.
    void closeAll();

  private:
    struct Entry {
        int socket = -1;
        std::chrono::steady_clock::time_point since;
    };

    void evictOldestBut(uint64_t kept);

    const size_t capacity_;
    std::mutex mutex_;
    std::map<uint64_t, Entry> entries_;
    uint64_t nextId_ = 0;
    bool closing_ = false;
};

}  // namespace veyrakit
