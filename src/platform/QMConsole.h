#pragma once
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/QMFormat.h"

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

    // Test helper: collects every line while alive, then restores the previous sink.
    class VEYRAKIT_EXPORT Capture {
      public:
        Capture();
        ~Capture();
        std::vector<std::string> lines() const;
        bool contains(const std::string& line) const;
        void clear();

      private:
        mutable std::mutex mutex_;
        std::vector<std::string> lines_;
        Sink previous_;
    };

  private:
    static Sink exchangeSink(Sink sink);  // installs `sink` as is, returns the one it replaced
};

template <typename... Args>
void QMConsoleLog(const std::string& format, const Args&... args) {
    QMConsole::write(QMFormat(format, args...));
}
