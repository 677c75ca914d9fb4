#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/QMURLTransport.h"

namespace veyrakit {

// The main loop's URL transport in the fuzz targets: it keeps the newest exchange's events and
// answers it with the fuzzer's bytes through the real connection delivery, so the code under test
// reads the answer exactly as it would from a server. Nothing reaches the network.
class QMFuzzTransport : public QMURLTransport {
  public:
    // The transport, installed on the main loop on first use, with the console silenced.
    static QMFuzzTransport& installed();

    std::shared_ptr<QMURLExchange> start(const std::shared_ptr<QMRunLoop>& loop,
                                         std::shared_ptr<QMURLRequest> request, Events events) override;

    // Answers the exchange started last: the first two bytes pick the status (200 when even), the
    // third where the body splits into two chunks, the rest is the body. Returns false when no
    // exchange was waiting.
    bool answer(const uint8_t* data, std::size_t size);

  private:
    std::shared_ptr<Events> pending_;
};

}  // namespace veyrakit
