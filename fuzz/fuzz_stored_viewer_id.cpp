// What a session start answer can make the SDK persist: the answer read as the plugin reads it,
// its offered viewer id stored as the plugin stores it (unless it is over the stored bound), the
// defaults file checked against its bound and loaded again as the next start loads it, and the
// next session request built from what was loaded. A file over its bound, a file that does not
// load back to what was stored, or a request that carries something else aborts.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "core/QMSessionStartProtocol.h"
#include "platform/QMConsole.h"
#include "platform/QMFileManager.h"
#include "platform/QMUserDefaults.h"

using namespace veyrakit;

namespace {

// Never destroyed: the exit handler that removes the directory runs after static destructors.
const std::string& directory() {
    static const std::string& path = *new std::string([] {
        char pattern[] = "/tmp/veyrakit-fuzz-viewer-id-XXXXXX";
        const char* made = mkdtemp(pattern);
        if (!made) {
            std::abort();
        }
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(directory(), ignored);
        });
        return std::string(made);
    }());
    return path;
}

void check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// Numbers may change form on the way through the file (1e400 is written as null): compare what
// would go on the wire.
std::string wire(const std::optional<QMJSON>& value) {
    return value ? QMJSONSerialization::dataWithJSONObject(*value) : "<none>";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = [] {
        QMConsole::setSink([](const std::string&) {});
        return true;
    }();
    (void)quiet;
    const std::string path = directory() + "/defaults.json";
    const auto answer =
        QMSessionStartProtocol::readAnswer(std::string(reinterpret_cast<const char*>(data), size));
    std::optional<QMJSON> stored;
    {
        QMUserDefaults defaults(path);
        defaults.setObject("V-OLD", "viewerId");
        if (answer.offeredViewerId && !QMSessionStartProtocol::viewerIdRefusal(*answer.offeredViewerId)) {
            defaults.setObject(*answer.offeredViewerId, "viewerId");
            defaults.synchronize();
        }
        stored = defaults.objectForKey("viewerId");
    }
    const auto contents = QMFileManager::defaultManager()->contentsAtPath(path);
    check(contents && contents->size() <= QMUserDefaults::kMaximumFileLength);

    QMUserDefaults reloaded(path);
    const auto loaded = reloaded.objectForKey("viewerId");
    check(wire(loaded) == wire(stored));
    const QMJSON unique = QMSessionStartProtocol::uniqueViewerData(loaded);
    const QMJSON body =
        QMSessionStartProtocol::requestBody({.assetId = "A-1", .qmrCID = "C-1", .uniqueViewerData = unique});
    check(QMJSONSerialization::dataWithJSONObject(body).size() <=
          QMSessionStartProtocol::kMaximumStoredViewerIdLength + 200);
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    return 0;
}
