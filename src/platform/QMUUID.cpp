#include "platform/QMUUID.h"

#include <sys/random.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <stdexcept>

namespace veyrakit {

namespace {

void fillRandom(uint8_t* bytes, std::size_t count) {
    std::size_t filled = 0;
    while (filled < count) {
        const ssize_t n = getrandom(bytes + filled, count - filled, 0);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw std::runtime_error("getrandom failed");
        }
        filled += static_cast<std::size_t>(n);
    }
}

}  // namespace

std::string QMUUID::UUIDString() {
    uint8_t b[16];
    fillRandom(b, sizeof b);
    b[6] = static_cast<uint8_t>((b[6] & 0x0F) | 0x40);  // version 4: random
    b[8] = static_cast<uint8_t>((b[8] & 0x3F) | 0x80);  // RFC 4122 variant
    char text[37];
    std::snprintf(text, sizeof text, "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X",
                  b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13],
                  b[14], b[15]);
    return text;
}

}  // namespace veyrakit
