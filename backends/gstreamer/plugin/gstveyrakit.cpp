// The gstveyrakit plugin: the "veyrakit" tracer, which monitors every playbin3 and playbin of the
// process with VeyraKit when GST_TRACERS names it. Everything it does is in the backend's library
// (QMGStreamerAgent); this file only makes the library a plugin GStreamer can load.
#include <gst/gst.h>

#include "veyrakit/gstreamer/QMGStreamerAgent.h"

namespace {

gboolean initPlugin(GstPlugin* plugin) {
    return veyrakit::QMGStreamerAgent::registerTracer(plugin) ? TRUE : FALSE;
}

}  // namespace

#define PACKAGE "veyrakit"

GST_PLUGIN_DEFINE(
    GST_VERSION_MAJOR, GST_VERSION_MINOR, veyrakit,
    "VeyraKit video analytics for every playbin of any application, with no code: "
    "GST_TRACERS='veyrakit(server=URL,diag-ports=\"N,M\",player=avplayer|mpmovieplayer,customer-id=ID,"
    "asset-id=ID,asset-name=NAME,viewer-id=ID,metadata=\"key=value;key=value\")'. Each setting can come "
    "from the environment instead: VEYRAKIT_SERVER, VEYRAKIT_DIAG_PORTS, VEYRAKIT_PLAYER, "
    "VEYRAKIT_CUSTOMER_ID, VEYRAKIT_ASSET_ID, VEYRAKIT_ASSET_NAME, VEYRAKIT_VIEWER_ID, VEYRAKIT_METADATA. "
    "A value with a comma is quoted. Bad or missing settings are warned about on the \"veyrakit\" debug "
    "category and the pipeline plays unmonitored.",
    initPlugin, VEYRAKIT_VERSION, "Proprietary", PACKAGE, "https://veyrakit.invalid/")
