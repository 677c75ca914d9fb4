// A small real player on GStreamer with VeyraKit attached: it plays a URL or a local file with
// the sinks playbin3 picks (or fake ones that still play in real time), reads its own bus, runs
// its own GLib main loop, and takes keyboard commands. VeyraKit follows its pipeline without
// changing it; the lines marked "VeyraKit" are all the integration there is.
//
//   veyrakit-gst-player [--server URL] [--diag-ports N,M] [--player avplayer|mpmovieplayer]
//                       [--playbin2] [--headless] URL-OR-PATH
//
// Keys: space pauses and resumes, right and left arrows seek 10 s, q quits. Exit status: 0 when
// the media played to its end or the viewer quit (q, SIGINT, SIGTERM), 1 on a playback error, 2
// on a bad command line.
#include <glib-unix.h>
#include <gst/gst.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/gstreamer/QMGLibRunLoopSource.h"
#include "veyrakit/gstreamer/QMGStreamerMonitor.h"

namespace {

struct Options {
    std::string server;
    std::optional<std::pair<int, int>> diagnosticPorts;
    veyrakit::QMGStreamerMonitor::PlayerKind player = veyrakit::QMGStreamerMonitor::PlayerKind::AVPlayer;
    bool playbin2 = false;
    bool headless = false;
    std::string media;
};

const char* const kUsage =
    "usage: veyrakit-gst-player [--server URL] [--diag-ports N,M] [--player avplayer|mpmovieplayer]\n"
    "                           [--playbin2] [--headless] URL-OR-PATH\n";

std::optional<Options> parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--server" && hasValue) {
            options.server = argv[++i];
        } else if (arg == "--diag-ports" && hasValue) {
            int diagnostics = 0;
            int sessionEvents = 0;
            if (std::sscanf(argv[++i], "%d,%d", &diagnostics, &sessionEvents) != 2) return std::nullopt;
            options.diagnosticPorts = {diagnostics, sessionEvents};
        } else if (arg == "--player" && hasValue) {
            const std::string kind = argv[++i];
            if (kind == "mpmovieplayer") {
                options.player = veyrakit::QMGStreamerMonitor::PlayerKind::MPMoviePlayerController;
            } else if (kind != "avplayer") {
                return std::nullopt;
            }
        } else if (arg == "--playbin2") {
            options.playbin2 = true;
        } else if (arg == "--headless") {
            options.headless = true;
        } else if (!arg.starts_with("--") && options.media.empty()) {
            options.media = arg;
        } else {
            return std::nullopt;
        }
    }
    if (options.media.empty()) return std::nullopt;
    return options;
}

// The collector's host with another port and path: where the diagnostic streams go.
std::string onPort(const std::string& server, int port, const std::string& path) {
    const auto hostStart = server.find("://") + 3;
    const auto hostEnd = server.find_first_of(":/", hostStart);
    return server.substr(0, hostEnd) + ":" + std::to_string(port) + path;
}

struct Player {
    GMainLoop* loop = nullptr;
    GstElement* playbin = nullptr;
    bool wantsToPlay = true;
    bool paused = false;
    int status = 0;

    void quit(int exitStatus) {
        status = exitStatus;
        gst_element_set_state(playbin, GST_STATE_NULL);
        g_main_loop_quit(loop);
    }
    void togglePause() {
        paused = !paused;
        wantsToPlay = !paused;
        gst_element_set_state(playbin, paused ? GST_STATE_PAUSED : GST_STATE_PLAYING);
    }
    void seekBy(double seconds) {
        gint64 position = 0;
        if (!gst_element_query_position(playbin, GST_FORMAT_TIME, &position)) return;
        const gint64 target = std::max<gint64>(0, position + static_cast<gint64>(seconds * GST_SECOND));
        gst_element_seek_simple(playbin, GST_FORMAT_TIME,
                                static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT),
                                target);
    }
};

gboolean onBusMessage(GstBus*, GstMessage* message, gpointer data) {
    auto* player = static_cast<Player*>(data);
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_BUFFERING: {
            int percent = 0;
            gst_message_parse_buffering(message, &percent);
            if (player->wantsToPlay) {
                gst_element_set_state(player->playbin, percent < 100 ? GST_STATE_PAUSED : GST_STATE_PLAYING);
            }
            break;
        }
        case GST_MESSAGE_EOS:
            std::cout << "played to the end\n";
            player->quit(0);
            break;
        case GST_MESSAGE_ERROR: {
            GError* error = nullptr;
            gst_message_parse_error(message, &error, nullptr);
            std::cerr << "playback error: " << (error ? error->message : "unknown") << "\n";
            g_clear_error(&error);
            player->quit(1);
            break;
        }
        default:
            break;
    }
    return G_SOURCE_CONTINUE;
}

gboolean onKey(gint descriptor, GIOCondition, gpointer data) {
    auto* player = static_cast<Player*>(data);
    char keys[8];
    const ssize_t count = read(descriptor, keys, sizeof keys);
    if (count <= 0) return G_SOURCE_REMOVE;
    const std::string typed(keys, static_cast<std::size_t>(count));
    if (typed == " ") player->togglePause();
    if (typed == "\x1b[C") player->seekBy(10);
    if (typed == "\x1b[D") player->seekBy(-10);
    if (typed == "q") player->quit(0);
    return G_SOURCE_CONTINUE;
}

gboolean onSignal(gpointer data) {
    std::cout << "stopped by the viewer\n";
    static_cast<Player*>(data)->quit(0);
    return G_SOURCE_CONTINUE;
}

GstElement* fakeSink() {
    GstElement* sink = gst_element_factory_make("fakesink", nullptr);
    g_object_set(sink, "sync", TRUE, nullptr);
    return sink;
}

}  // namespace

int main(int argc, char** argv) {
    gst_init(&argc, &argv);
    const auto options = parse(argc, argv);
    if (!options) {
        std::cerr << kUsage;
        return 2;
    }
    Player player;
    player.loop = g_main_loop_new(nullptr, FALSE);
    player.playbin = gst_element_factory_make(options->playbin2 ? "playbin" : "playbin3", nullptr);
    gchar* uri = gst_uri_is_valid(options->media.c_str())
                     ? g_strdup(options->media.c_str())
                     : gst_filename_to_uri(options->media.c_str(), nullptr);
    g_object_set(player.playbin, "uri", uri, nullptr);
    g_free(uri);
    if (options->headless) {
        g_object_set(player.playbin, "video-sink", fakeSink(), "audio-sink", fakeSink(), nullptr);
    }
    GstBus* bus = gst_element_get_bus(player.playbin);
    const guint busWatch = gst_bus_add_watch(bus, &onBusMessage, &player);
    gst_object_unref(bus);
    g_unix_signal_add(SIGINT, &onSignal, &player);
    g_unix_signal_add(SIGTERM, &onSignal, &player);
    termios saved{};
    const bool keyboard = isatty(STDIN_FILENO) && tcgetattr(STDIN_FILENO, &saved) == 0;
    if (keyboard) {
        termios raw = saved;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
        g_unix_fd_add(STDIN_FILENO, G_IO_IN, &onKey, &player);
    }

    // VeyraKit: the SDK runs on this GLib main loop and follows the app's pipeline.
    auto source = veyrakit::QMGLibRunLoopSource::attach();
    if (options->diagnosticPorts && !options->server.empty()) {
        veyrakit::QMDiagnosticCollectors::setDiagnosticEventsURL(
            onPort(options->server, options->diagnosticPorts->first, "/veyrakit/"));
        veyrakit::QMDiagnosticCollectors::setSessionEventsURL(
            onPort(options->server, options->diagnosticPorts->second, "/sessionEventsHandler/sessions"));
    }
    veyrakit::QMGStreamerMonitor::Options monitoring{.player = options->player};
    if (!options->server.empty()) monitoring.defaults.serverHost = options->server;
    monitoring.defaults.qmrCID = "veyrakit-gst-player";
    auto monitor = veyrakit::QMGStreamerMonitor::attach(player.playbin, monitoring);

    gst_element_set_state(player.playbin, GST_STATE_PLAYING);
    g_main_loop_run(player.loop);

    // VeyraKit: the session ended with the pipeline; its last reports go out (two seconds at most).
    monitor->detach();
    source->drain(2'000);

    if (keyboard) tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    g_source_remove(busWatch);
    gst_object_unref(player.playbin);
    g_main_loop_unref(player.loop);
    return player.status;
}
