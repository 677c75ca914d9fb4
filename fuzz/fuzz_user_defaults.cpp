// The user defaults file as it is found at start-up: loaded (or set aside when unreadable), the
// stored viewer id read back, then a change written through.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/QMConsole.h"
#include "platform/QMFileManager.h"
#include "platform/QMUserDefaults.h"

using namespace veyrakit;

namespace {

// Never destroyed: the exit handler that removes the directory runs after static destructors.
const std::string& directory() {
    static const std::string& path = *new std::string([] {
        char pattern[] = "/tmp/veyrakit-fuzz-defaults-XXXXXX";
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = [] {
        QMConsole::setSink([](const std::string&) {});
        return true;
    }();
    (void)quiet;
    const std::string path = directory() + "/defaults.json";
    QMFileManager::defaultManager()->createFileAtPath(path,
                                                      std::string(reinterpret_cast<const char*>(data), size));
    {
        QMUserDefaults defaults(path);
        (void)defaults.objectForKey("viewerId");
        (void)defaults.stringForKey("viewerId");
        defaults.setObject("V-1", "viewerId");
    }
    std::error_code ignored;
    std::filesystem::remove(path + ".corrupt", ignored);
    return 0;
}
