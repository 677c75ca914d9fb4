#include "events/QMEventManager.h"

#include <utility>

#include "platform/QMException.h"

namespace veyrakit {

namespace {
// Keeps the enumeration mark balanced when a handler throws.
class EnumerationMark {
  public:
    explicit EnumerationMark(int& depth) : depth_(depth) { ++depth_; }
    ~EnumerationMark() { --depth_; }
    EnumerationMark(const EnumerationMark&) = delete;
    EnumerationMark& operator=(const EnumerationMark&) = delete;

  private:
    int& depth_;
};
}  // namespace

void QMEventManager::start() {
    forEachHandler([](QMEventHandler& handler) { handler.attachHandlers(); });
    started_ = true;
}

void QMEventManager::dispose() {
    if (!started_) {
        return;
    }
    forEachHandler([](QMEventHandler& handler) { handler.detachHandlers(); });
}

QMEventManager::Handlers QMEventManager::handlers() const {
    std::lock_guard<std::mutex> lock(handlersMutex_);
    return handlers_;
}

void QMEventManager::setHandlers(Handlers handlers) {
    checkNotEnumerating();
    std::lock_guard<std::mutex> lock(handlersMutex_);
    handlers_ = std::move(handlers);
}

void QMEventManager::addHandler(std::shared_ptr<QMEventHandler> handler) {
    checkNotEnumerating();
    std::lock_guard<std::mutex> lock(handlersMutex_);
    handlers_.push_back(std::move(handler));
}

template <typename Fn>
void QMEventManager::forEachHandler(Fn fn) {
    // Walk a snapshot so that no lock is held while handlers run; mutation meanwhile is refused.
    Handlers snapshot = handlers();
    EnumerationMark mark(enumerationDepth_);
    for (const auto& handler : snapshot) {
        if (handler) {
            fn(*handler);
        }
    }
}

void QMEventManager::checkNotEnumerating() const {
    if (enumerationDepth_ > 0) {
        throw QMException("NSGenericException",
                          "Collection of event handlers was mutated while being enumerated.");
    }
}

}  // namespace veyrakit
