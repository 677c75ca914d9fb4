// The smallest monitored host: one AVPlayer, one monitoring plugin, the main run loop.
//   host-app [SERVER_URL [SECONDS]]      e.g. host-app http://127.0.0.1:8080 30
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "platform/QMRunLoop.h"
#include "platform/QMURL.h"
#include "platform/avfoundation/AVPlayer.h"
#include "veyrakit/VeyraKit.h"

int main(int argc, char** argv) {
    const std::string server = argc > 1 ? argv[1] : "http://127.0.0.1:8080";  // a veyrakit-collector
    const long seconds = argc > 2 ? std::atol(argv[2]) : 30;

    auto player =
        AVPlayer::playerWithURL(QMURL::URLWithString("https://media.example.invalid/vod/master.m3u8"));
    QMCustomMetadataArray assetMetadata{
        std::make_shared<QMCustomMetadata>("genre", std::vector<std::string>{"documentary"})};
    QMVeyraKit::pluginWithAVPlayer(player, "asset-42", server, "customer-7", "VOD", "Harbour Lights",
                                   "viewer-1", assetMetadata, std::nullopt);

    // The app's player backend keeps the model up to date; here the viewer just presses play.
    player->play();
    auto loop = QMRunLoop::mainRunLoop();  // the SDK's timers and HTTP run on this loop
    loop->runUntilDate(loop->nowMillis() + seconds * 1000);

    QMVeyraKit::stopPlayback();  // the viewer leaves: a last report, then the session ends
    loop->runUntilDate(loop->nowMillis() + 1000);
    return 0;
}
