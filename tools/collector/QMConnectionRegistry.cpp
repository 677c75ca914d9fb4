#include "collector/QMConnectionRegistry.h"

#include <sys/socket.h>

namespace veyrakit {

uint64_t QMConnectionRegistry::add(int socket) {
    std::lock_guard lock(mutex_);
    uint64_t id = nextId_++;
    entries_[id] = Entry{socket, std::chrono::steady_clock::now()};
    if (closing_) {
        ::shutdown(socket, SHUT_RDWR);
    } else if (entries_.size() > capacity_) {
        evictOldestBut(id);
    }
    return id;
}

void QMConnectionRegistry::touch(uint64_t id) {
    std::lock_guard lock(mutex_);
    auto entry = entries_.find(id);
    if (entry != entries_.end()) entry->second.since = std::chrono::steady_clock::now();
}

void QMConnectionRegistry::remove(uint64_t id) {
    std::lock_guard lock(mutex_);
    entries_.erase(id);
}

void QMConnectionRegistry::closeAll() {
    std::lock_guard lock(mutex_);
    closing_ = true;
    for (const auto& [id, entry] : entries_) ::shutdown(entry.socket, SHUT_RDWR);
}

void QMConnectionRegistry::evictOldestBut(uint64_t kept) {
    auto oldest = entries_.end();
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
        if (entry->first == kept) continue;
        if (oldest == entries_.end() || entry->second.since < oldest->second.since) oldest = entry;
    }
    // Its thread sees the shutdown, ends the connection and removes it.
    if (oldest != entries_.end()) ::shutdown(oldest->second.socket, SHUT_RDWR);
}

}  // namespace veyrakit
