#pragma once
#include <curl/curl.h>

namespace veyrakit {

// libcurl easy handles of finished transfers, kept per thread for the next transfers that thread
// starts: a fresh handle allocates and fills its buffers again, a kept one is only reset.
// Connections are not the pool's: they stay in each loop's multi handle.
class QMCurlEasyPool {
  public:
    // A handle with every option at its default.
    static CURL* take();
    // Takes the handle back once it is out of its multi handle; nullptr is ignored.
    static void give(CURL* easy);
};

}  // namespace veyrakit
