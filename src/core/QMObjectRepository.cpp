#include "core/QMObjectRepository.h"

#include <utility>

#include "core/QMVeyraPlugin.h"

namespace veyrakit {

namespace {
// Plays the part of the class-object monitor: recursive, so that a repository created while the
// lock is held can look itself up.
std::recursive_mutex& classMonitor() {
    static std::recursive_mutex monitor;
    return monitor;
}

std::shared_ptr<QMObjectRepository>& instance() {
    static std::shared_ptr<QMObjectRepository> slot;
    return slot;
}
}  // namespace

std::shared_ptr<QMObjectRepository> QMObjectRepository::getRepositoryInstance() {
    std::lock_guard<std::recursive_mutex> lock(classMonitor());
    if (!instance()) {
        instance() = std::make_shared<QMObjectRepository>();
        // The logger and the reporters sit below the plugin; they find it through here.
        QMLogSession::setLookup([] { return getRepositoryInstance()->plugin(); });
        QMReportingSession::setLookup([] { return getRepositoryInstance()->plugin(); });
    }
    return instance();
}

std::shared_ptr<QMVeyraPlugin> QMObjectRepository::plugin() const {
    std::lock_guard<std::mutex> lock(pluginMutex_);
    return plugin_;
}

void QMObjectRepository::setPlugin(std::shared_ptr<QMVeyraPlugin> plugin) {
    std::shared_ptr<QMVeyraPlugin> previous;
    {
        std::lock_guard<std::mutex> lock(pluginMutex_);
        previous = std::exchange(plugin_, std::move(plugin));
    }
    // `previous` may be the last owner of the old plugin; let it go outside the lock.
}

}  // namespace veyrakit
