#pragma once
#include <functional>
#include <string>

#include "platform/QMFormat.h"

namespace veyrakit {

// The device console (NSLog). Each call writes one line. The default sink writes to stderr in
// the platform layout "yyyy-MM-dd HH:mm:ss.SSS VeyraKit[pid:tid] message" (local wall-clock time,
// a line break added unless the message ends with one); tests replace the sink and receive the
// bare message. Sinks are called one at a time, under a lock (a sink may itself log).
class VEYRAKIT_EXPORT QMConsole {
  public:
    using Sink = std::function<void(const std::string& message)>;

    static void write(const std::string& message);
    static void setSink(Sink sink);                             // nullptr restores the default sink
    static std::string formatLine(const std::string& message);  // the default layout
    // Installs `sink` as is and returns the one it replaced, so that a caller can put it back.
    static Sink exchangeSink(Sink sink);
};

template <typename... Args>
void QMConsoleLog(const std::string& format, const Args&... args) {
    QMConsole::write(QMFormat(format, args...));
}

}  // namespace veyrakit
