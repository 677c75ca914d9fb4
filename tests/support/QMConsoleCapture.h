#pragma once
#include <mutex>
#include <string>
#include <vector>

#include "platform/QMConsole.h"

namespace veyrakit {

// Collects every console line while alive, then puts the previous sink back.
class QMConsoleCapture {
  public:
    QMConsoleCapture();
    ~QMConsoleCapture();
    QMConsoleCapture(const QMConsoleCapture&) = delete;
    QMConsoleCapture& operator=(const QMConsoleCapture&) = delete;

    std::vector<std::string> lines() const;
    bool contains(const std::string& line) const;
    void clear();

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
    QMConsole::Sink previous_;
};

}  // namespace veyrakit
