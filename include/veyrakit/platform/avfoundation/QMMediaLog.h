#pragma once
#include <memory>
#include <vector>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// A player's access or error log: its events, oldest first, the last one the newest.
template <typename Event>
class QMMediaLog : public QMObject {
  public:
    const std::vector<std::shared_ptr<Event>>& events() const { return events_; }
    // Used by whoever drives the player; the player posts its own notification, if any.
    void addEvent(std::shared_ptr<Event> event) {
        if (event) {
            events_.push_back(std::move(event));
        }
    }

  private:
    std::vector<std::shared_ptr<Event>> events_;
};

}  // namespace veyrakit
