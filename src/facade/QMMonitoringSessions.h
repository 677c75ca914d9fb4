#pragma once
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/QMVeyraPlugin.h"
#include "veyrakit/QMVeyraKit.h"

namespace veyrakit {

// The facade's two slots (the current plugin of each player kind) and optional creators that
// replace the player plugins' own factories (hosts embedding a custom plugin, tests). A creator
// is given the description with the facade's plugin metadata; it returns the initialised plugin, or nothing
// when the plugin refused to initialise; it may throw. Without a creator the facade calls the player plugin's
// factory.
class QMMonitoringSessions {
  public:
    template <typename Player>
    using Creator = std::function<std::shared_ptr<QMVeyraPlugin>(const std::shared_ptr<Player>& player,
                                                                 const QMSessionDescription& description)>;
    using AVPlayerPluginCreator = Creator<AVPlayer>;
    using MPMoviePlayerPluginCreator = Creator<MPMoviePlayerController>;

    QMMonitoringSessions() = delete;

    static std::shared_ptr<QMVeyraPlugin> currentAVPlayerMonitoringSession();
    static void setCurrentAVPlayerMonitoringSession(std::shared_ptr<QMVeyraPlugin> plugin);
    static std::shared_ptr<QMVeyraPlugin> currentMPMoviePlayerMonitoringSession();
    static void setCurrentMPMoviePlayerMonitoringSession(std::shared_ptr<QMVeyraPlugin> plugin);

    static const AVPlayerPluginCreator& avPlayerPluginCreator();
    static void setAVPlayerPluginCreator(AVPlayerPluginCreator creator);
    static const MPMoviePlayerPluginCreator& mpMoviePlayerPluginCreator();
    static void setMPMoviePlayerPluginCreator(MPMoviePlayerPluginCreator creator);
};

}  // namespace veyrakit
