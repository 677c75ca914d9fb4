#pragma once
#include <gst/gst.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace veyrakit {

// A small GStreamer application as player teams write them, for the tests of attached
// monitoring: its own playbin3 or playbin with fake sinks that consume in real time, its own bus
// handling in one of the four ways apps read a bus, its own GLib main loop on the default context,
// pausing while the pipeline refills and taking the pipeline to NULL at the end of the stream or
// on an error. It knows nothing of VeyraKit.
class QMTestPlayerApp {
  public:
    enum class BusStyle { Watch, SignalWatch, SyncHandler, Polling };

    QMTestPlayerApp(const std::string& element, BusStyle style);
    ~QMTestPlayerApp();
    QMTestPlayerApp(const QMTestPlayerApp&) = delete;
    QMTestPlayerApp& operator=(const QMTestPlayerApp&) = delete;

    GstElement* playbin() const { return playbin_; }
    void setURI(const std::string& uri);
    void play();
    void pause();
    void seek(double seconds);
    // Takes the pipeline to NULL (the app stops, or is about to load another item).
    void stop();

    // Does `action` `millis` after it is called, on the app's main loop.
    void after(int millis, std::function<void()> action);
    // Iterates the app's main loop until `done` holds or `timeoutMillis` pass; returns `done()`.
    bool runUntil(const std::function<bool()>& done, int timeoutMillis);
    bool ended() const { return endedByStream_ || failed_; }
    bool endedByStream() const { return endedByStream_; }
    bool failed() const { return failed_; }

    // The messages the app's own bus handling received, by type.
    const std::map<GstMessageType, int>& received() const { return received_; }
    int receivedOf(GstMessageType type) const { return received_.count(type) ? received_.at(type) : 0; }

  private:
    static gboolean onWatch(GstBus* bus, GstMessage* message, gpointer self);
    static void onSignal(GstBus* bus, GstMessage* message, gpointer self);
    static GstBusSyncReply onSync(GstBus* bus, GstMessage* message, gpointer self);
    static gboolean onPoll(gpointer self);
    void handle(GstMessage* message);

    GstElement* playbin_ = nullptr;
    BusStyle style_;
    guint watchSource_ = 0;
    gulong signalHandler_ = 0;
    std::vector<guint> sources_;
    std::map<GstMessageType, int> received_;
    bool wantsToPlay_ = false;
    bool endedByStream_ = false;
    bool failed_ = false;
};

}  // namespace veyrakit
