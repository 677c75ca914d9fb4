#include "support/QMConsoleCapture.h"

#include <algorithm>

namespace veyrakit {

QMConsoleCapture::QMConsoleCapture() {
    previous_ = QMConsole::exchangeSink([this](const std::string& message) {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(message);
    });
}

QMConsoleCapture::~QMConsoleCapture() { QMConsole::exchangeSink(std::move(previous_)); }

std::vector<std::string> QMConsoleCapture::lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

bool QMConsoleCapture::contains(const std::string& line) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::find(lines_.begin(), lines_.end(), line) != lines_.end();
}

void QMConsoleCapture::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
}

}  // namespace veyrakit
