#include "veyrakit/QMVeyraKit.h"

#include <exception>
#include <functional>

#include "core/QMVeyraPlugin.h"
#include "facade/QMMonitoringSessions.h"
#include "logging/QMLogger.h"
#include "platform/QMFormat.h"
#include "platform/QMThreadChecker.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"

namespace veyrakit {

namespace {

// The plugin metadata is the facade's: it names the player kind.
QMSessionDescription withPluginName(QMSessionDescription description, const std::string& pluginName) {
    description.pluginMetadata = QMPluginMetadata{{"pluginName", pluginName}};
    return description;
}

}  // namespace

void QMVeyraKit::pluginWithAVPlayer(const std::shared_ptr<AVPlayer>& player,
                                    const std::optional<std::string>& assetId,
                                    const std::optional<std::string>& qmrCID,
                                    const std::optional<std::string>& assetType,
                                    const std::optional<std::string>& assetName,
                                    const std::optional<std::string>& viewerId,
                                    const std::optional<QMCustomMetadataArray>& assetMetadata,
                                    const std::optional<QMCustomMetadataArray>& viewerMetadata) {
    pluginWithAVPlayer(player, assetId, std::nullopt, qmrCID, assetType, assetName, viewerId, assetMetadata,
                       viewerMetadata);
}

void QMVeyraKit::pluginWithAVPlayer(
    const std::shared_ptr<AVPlayer>& player, const std::optional<std::string>& assetId,
    const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
    const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
    const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
    const std::optional<QMCustomMetadataArray>& viewerMetadata) {
    pluginWithAVPlayer(
        player, QMSessionDescription::withFields(assetId, serverHost, qmrCID, assetType, assetName, viewerId,
                                                 assetMetadata, viewerMetadata));
}

void QMVeyraKit::pluginWithAVPlayer(const std::shared_ptr<AVPlayer>& player,
                                    const QMSessionDescription& description) {
    QM_DCHECK_ON_MAIN_LOOP_THREAD("QMVeyraKit::pluginWithAVPlayer");
    if (auto old = QMMonitoringSessions::currentAVPlayerMonitoringSession()) {
        old->destroy();
        QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
    }
    if (!player) {
        return;
    }
    const auto session = withPluginName(description, "iOS-AVPlayer");
    std::shared_ptr<QMVeyraPlugin> plugin;
    try {
        const auto& create = QMMonitoringSessions::avPlayerPluginCreator();
        plugin =
            create ? create(player, session) : QMAVPlayerVeyraPlugin::pluginWithDescription(player, session);
    } catch (const std::exception& e) {
        // The host never sees the failure: the session simply does not exist.
        QMLogger::error(QMFormat("can't create plugin.error:%@", std::string(e.what())), "SV");
        return;
    }
    QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(std::move(plugin));
}

void QMVeyraKit::pluginWithMPMoviePlayerController(
    const std::shared_ptr<MPMoviePlayerController>& player, const std::optional<std::string>& assetId,
    const std::optional<std::string>& qmrCID, const std::optional<std::string>& assetType,
    const std::optional<std::string>& assetName, const std::optional<std::string>& viewerId,
    const std::optional<QMCustomMetadataArray>& assetMetadata,
    const std::optional<QMCustomMetadataArray>& viewerMetadata) {
    pluginWithMPMoviePlayerController(player, assetId, std::nullopt, qmrCID, assetType, assetName, viewerId,
                                      assetMetadata, viewerMetadata);
}

void QMVeyraKit::pluginWithMPMoviePlayerController(
    const std::shared_ptr<MPMoviePlayerController>& player, const std::optional<std::string>& assetId,
    const std::optional<std::string>& serverHost, const std::optional<std::string>& qmrCID,
    const std::optional<std::string>& assetType, const std::optional<std::string>& assetName,
    const std::optional<std::string>& viewerId, const std::optional<QMCustomMetadataArray>& assetMetadata,
    const std::optional<QMCustomMetadataArray>& viewerMetadata) {
    pluginWithMPMoviePlayerController(
        player, QMSessionDescription::withFields(assetId, serverHost, qmrCID, assetType, assetName, viewerId,
                                                 assetMetadata, viewerMetadata));
}

void QMVeyraKit::pluginWithMPMoviePlayerController(const std::shared_ptr<MPMoviePlayerController>& player,
                                                   const QMSessionDescription& description) {
    QM_DCHECK_ON_MAIN_LOOP_THREAD("QMVeyraKit::pluginWithMPMoviePlayerController");
    // Unlike the AVPlayer path: logged, destroyed and disposed, and the slot is not emptied here.
    if (auto old = QMMonitoringSessions::currentMPMoviePlayerMonitoringSession()) {
        QMLogger::info("CDNSwitchingPluginManager: Destroying old plugin instance to create new one.", "T");
        old->destroy();
        old->dispose();
    }
    if (!player) {
        return;
    }
    const auto session = withPluginName(description, "iOS-MPMoviePlayerController");
    // Nothing is caught on this path: what the creation throws reaches the host.
    const auto& create = QMMonitoringSessions::mpMoviePlayerPluginCreator();
    QMMonitoringSessions::setCurrentMPMoviePlayerMonitoringSession(
        create ? create(player, session)
               : QMMPMoviePlayerControllerVeyraPlugin::pluginWithDescription(player, session));
}

namespace {
// A plain message to the AVPlayer slot: nothing happens while it is empty.
template <typename Command>
void forwardToAVPlayerPlugin([[maybe_unused]] const char* operation, Command command) {
    QM_DCHECK_ON_MAIN_LOOP_THREAD(operation);
    if (auto plugin = QMMonitoringSessions::currentAVPlayerMonitoringSession()) {
        command(*plugin);
    }
}
}  // namespace

void QMVeyraKit::viewerFaultReport(const std::string& errorCode, const std::string& playerVersion) {
    forwardToAVPlayerPlugin("QMVeyraKit::viewerFaultReport", [&](QMVeyraPlugin& plugin) {
        plugin.viewerFaultReport(errorCode, playerVersion);
    });
}

void QMVeyraKit::sizeChangedToFullScreen() {
    forwardToAVPlayerPlugin("QMVeyraKit::sizeChangedToFullScreen",
                            std::mem_fn(&QMVeyraPlugin::sizeChangedToFullScreen));
}

void QMVeyraKit::sizeChangedToWindow() {
    forwardToAVPlayerPlugin("QMVeyraKit::sizeChangedToWindow",
                            std::mem_fn(&QMVeyraPlugin::sizeChangedToWindow));
}

void QMVeyraKit::stopPlayback() {
    forwardToAVPlayerPlugin("QMVeyraKit::stopPlayback", std::mem_fn(&QMVeyraPlugin::stopPlayback));
}

void QMVeyraKit::endAVPlayerMonitoring() {
    forwardToAVPlayerPlugin("QMVeyraKit::endAVPlayerMonitoring", [](QMVeyraPlugin& plugin) {
        const bool started = plugin.periodicalReporter() != nullptr;
        plugin.stopPlayback();
        // A session still waiting for its id has no reporter to send a last report: stopPlayback
        // alone would leave it to start, and report, once the id comes.
        if (!started) plugin.destroy();
    });
}

void QMVeyraKit::startAds() {
    forwardToAVPlayerPlugin("QMVeyraKit::startAds", std::mem_fn(&QMVeyraPlugin::startAds));
}

void QMVeyraKit::stopAds() {
    forwardToAVPlayerPlugin("QMVeyraKit::stopAds", std::mem_fn(&QMVeyraPlugin::stopAds));
}

}  // namespace veyrakit
