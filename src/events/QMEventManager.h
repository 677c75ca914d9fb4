#pragma once
#include <memory>
#include <mutex>
#include <vector>

#include "events/QMEventHandler.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Owns a player kind's handlers in attachment order and attaches or detaches them all.
// Player-specific managers append their handlers in their constructor.
class QMEventManager : public QMObject {
  public:
    using Handlers = std::vector<std::shared_ptr<QMEventHandler>>;

    QMEventManager() = default;

    // Attaches every handler in order, then marks the manager started (also with no handler).
    void start();
    // Detaches every handler in order if the manager was ever started; `started` is never
    // cleared, so a second dispose detaches again.
    void dispose();

    Handlers handlers() const;
    // Changing the list while it is being walked throws (NSGenericException), as an enumerated
    // collection does; the list then stays as it was.
    void setHandlers(Handlers handlers);
    void addHandler(std::shared_ptr<QMEventHandler> handler);
    bool started() const { return started_; }

  private:
    template <typename Fn>
    void forEachHandler(Fn fn);
    void checkNotEnumerating() const;

    // `handlers` has atomic accessors; adding a handler takes the same lock.
    mutable std::mutex handlersMutex_;
    Handlers handlers_;
    int enumerationDepth_ = 0;
    bool started_ = false;
};

}  // namespace veyrakit
