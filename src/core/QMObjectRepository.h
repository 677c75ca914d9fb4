#pragma once
#include <memory>
#include <mutex>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

class QMVeyraPlugin;

// Process-wide registry of the plugin initialised last. Objects made without a reference to
// their plugin (metrics, handlers, reporters, the logger) fetch it from here. The plugin is never
// cleared by the system.
class QMObjectRepository : public QMObject {
  public:
    // The single instance, created on first use under a process-wide recursive lock.
    static std::shared_ptr<QMObjectRepository> getRepositoryInstance();

    // Atomic accessors.
    std::shared_ptr<QMVeyraPlugin> plugin() const;
    void setPlugin(std::shared_ptr<QMVeyraPlugin> plugin);

  private:
    mutable std::mutex pluginMutex_;
    std::shared_ptr<QMVeyraPlugin> plugin_;
};

}  // namespace veyrakit
