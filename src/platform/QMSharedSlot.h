#pragma once
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace veyrakit {

// A process-wide, lazily made shared instance that can be replaced. Whatever is released (by
// exchange or at exit) is let go outside the lock: its tear-down may ask for the instance again.
template <typename T>
class QMSharedSlot {
  public:
    explicit QMSharedSlot(std::function<void(T&)> atExit = nullptr) : atExit_(std::move(atExit)) {}
    ~QMSharedSlot() {
        std::shared_ptr<T> last = exchange(nullptr);
        if (last && atExit_) {
            atExit_(*last);
        }
    }

    std::shared_ptr<T> get() {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!value_) {
            value_ = std::make_shared<T>();
        }
        return value_;
    }

    // The instance if one exists; never makes one.
    std::shared_ptr<T> peek() {
        std::lock_guard<std::mutex> lock(mutex_);
        return value_;
    }

    std::shared_ptr<T> exchange(std::shared_ptr<T> value) {
        std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(value_, std::move(value));
    }

  private:
    std::mutex mutex_;
    std::shared_ptr<T> value_;
    std::function<void(T&)> atExit_;
};

}  // namespace veyrakit
