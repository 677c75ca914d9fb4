#include "platform/QMConsole.h"

#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <mutex>

namespace veyrakit {

namespace {

void writeToStderr(const std::string& message) {
    std::string line = QMConsole::formatLine(message);
    if (line.empty() || line.back() != '\n') {
        line += '\n';
    }
    // One write per line, so that lines of concurrent processes do not interleave.
    std::size_t written = 0;
    while (written < line.size()) {
        const ssize_t n = ::write(STDERR_FILENO, line.data() + written, line.size() - written);
        if (n <= 0) {
            break;
        }
        written += static_cast<std::size_t>(n);
    }
}

struct ConsoleState {
    std::recursive_mutex mutex;
    QMConsole::Sink sink = writeToStderr;
};

// Never destroyed: code running during static destruction may still log.
ConsoleState& state() {
    static auto* console = new ConsoleState;
    return *console;
}

}  // namespace

void QMConsole::write(const std::string& message) {
    ConsoleState& console = state();
    std::lock_guard<std::recursive_mutex> lock(console.mutex);
    console.sink(message);
}

QMConsole::Sink QMConsole::exchangeSink(Sink sink) {
    ConsoleState& console = state();
    std::lock_guard<std::recursive_mutex> lock(console.mutex);
    std::swap(console.sink, sink);
    return sink;
}

void QMConsole::setSink(Sink sink) { exchangeSink(sink ? std::move(sink) : Sink(writeToStderr)); }

std::string QMConsole::formatLine(const std::string& message) {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char stamp[64];
    const std::size_t length = std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
    char line[128];
    std::snprintf(line, sizeof line, "%.*s.%03ld VeyraKit[%ld:%ld] ", static_cast<int>(length), stamp,
                  static_cast<long>(now.tv_usec / 1000), static_cast<long>(getpid()),
                  static_cast<long>(gettid()));
    return line + message;
}

}  // namespace veyrakit
