// The smallest monitored host: one AVPlayer, one monitoring plugin, the main run loop.
//   host-app [SERVER_URL [SECONDS [SESSION_EVENTS_URL DIAGNOSTIC_EVENTS_URL]]]
//   e.g. host-app http://127.0.0.1:8080 30
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "veyrakit/VeyraKit.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/QMURL.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

using veyrakit::AVPlayer;
using veyrakit::QMCustomMetadata;
using veyrakit::QMCustomMetadataArray;
using veyrakit::QMRunLoop;
using veyrakit::QMURL;
using veyrakit::QMVeyraKit;

int main(int argc, char** argv) {
    const std::string server = argc > 1 ? argv[1] : "http://127.0.0.1:8080";  // a veyrakit-collector
    const long seconds = argc > 2 ? std::atol(argv[2]) : 30;
    if (argc > 4) {  // diagnostic collectors elsewhere than the server's host on ports 8082 and 8081
        veyrakit::QMDiagnosticCollectors::setSessionEventsURL(std::string(argv[3]));
        veyrakit::QMDiagnosticCollectors::setDiagnosticEventsURL(std::string(argv[4]));
    }

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
