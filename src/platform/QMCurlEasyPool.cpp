#include "platform/QMCurlEasyPool.h"

#include <vector>

namespace veyrakit {

namespace {

// A few suffice: a loop seldom runs more transfers at once than this.
constexpr std::size_t kKept = 4;

// Set when the thread's pool is gone: a transfer may still end during the thread's exit (a loop
// torn down by a static destructor), and must not reach the destroyed pool. Trivially
// destructible, so readable at any time.
thread_local bool tPoolGone = false;

struct Kept {
    std::vector<CURL*> handles;
    Kept() = default;
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;
    ~Kept() {
        tPoolGone = true;
        for (CURL* easy : handles) {
            curl_easy_cleanup(easy);
        }
    }
};

Kept& kept() {
    thread_local Kept handles;
    return handles;
}

}  // namespace

CURL* QMCurlEasyPool::take() {
    if (tPoolGone) {
        return curl_easy_init();
    }
    auto& handles = kept().handles;
    if (handles.empty()) {
        return curl_easy_init();
    }
    CURL* easy = handles.back();
    handles.pop_back();
    return easy;
}

void QMCurlEasyPool::give(CURL* easy) {
    if (!easy) {
        return;
    }
    if (tPoolGone) {
        curl_easy_cleanup(easy);
        return;
    }
    auto& handles = kept().handles;
    if (handles.size() >= kKept) {
        curl_easy_cleanup(easy);
        return;
    }
    // Reset now, so that a kept handle points at nothing of the transfer that used it.
    curl_easy_reset(easy);
    handles.push_back(easy);
}

}  // namespace veyrakit
