#pragma once
#include <gst/gst.h>

#include <string>

namespace veyrakit {

// Why playback failed, as the platform's player tells the causes apart.
enum class QMGStreamerCause {
    HTTPStatus,     // a server answered with an error status
    CannotConnect,  // the server refused the connection, or could not be reached
    HostNotFound,   // the server's name does not resolve
    TimedOut,       // the server did not answer in time
    FileNotFound,   // a local file that is not there
    Unsupported,    // media no decoder or demuxer understands
    Corrupt,        // media that cannot be decoded or demuxed as it is
    EndedEarly,     // the media ended well before its known duration
    Unknown,
};

// A warning or an error of a pipeline, read off its bus message: what both drivers log and how
// they report a failure, in the platform's error domains (docs/driver-contract.md has the table).
class QMGStreamerProblem {
  public:
    // `message` is a GST_MESSAGE_ERROR or GST_MESSAGE_WARNING. `networkCause`: what a check of
    // the server found where the message says only that a download failed (Unknown: none made).
    static QMGStreamerProblem fromMessage(GstMessage* message,
                                          QMGStreamerCause networkCause = QMGStreamerCause::Unknown);
    // The media stopped at `position` seconds of its `duration`.
    static QMGStreamerProblem endedEarly(double position, double duration);
    // Whether an error posted by `source` says no more than that its download failed: a check
    // of the server tells why (QMGStreamerReachability). Fills the source's URI.
    static bool needsServerCheck(GstMessage* message, std::string& uri);

    QMGStreamerCause cause() const { return cause_; }
    const std::string& message() const { return message_; }
    // Both texts, for an error-log comment: "message (debug)", or whichever one there is.
    std::string comment() const;
    // The HTTP status a failed download carries, or 0.
    unsigned httpStatus() const { return httpStatus_; }

    // The error the player fails with.
    const char* errorDomain() const;
    long errorCode() const;
    std::string errorDescription() const;
    // The error-log entry: the HTTP status, else the error's code, and the domain it is logged in.
    long logStatusCode() const { return httpStatus_ != 0 ? static_cast<long>(httpStatus_) : errorCode(); }
    const char* logDomain() const;

  private:
    static QMGStreamerCause causeOf(const GError* error, unsigned httpStatus, bool fromFile,
                                    QMGStreamerCause networkCause);

    QMGStreamerCause cause_ = QMGStreamerCause::Unknown;
    std::string message_;
    std::string debug_;
    unsigned httpStatus_ = 0;
};

}  // namespace veyrakit
