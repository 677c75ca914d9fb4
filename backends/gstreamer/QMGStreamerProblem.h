#pragma once
#include <gst/gst.h>

#include <string>

namespace veyrakit {

// A warning or an error of a pipeline, read off its bus message: what both drivers log and how
// they classify a failure.
class QMGStreamerProblem {
  public:
    // `message` is a GST_MESSAGE_ERROR or GST_MESSAGE_WARNING.
    static QMGStreamerProblem fromMessage(GstMessage* message);

    const std::string& message() const { return message_; }
    // Both texts, for an error-log comment: "message (debug)", or whichever one there is.
    std::string comment() const;
    // A stream that cannot be decoded or demuxed (rather than one that cannot be fetched).
    bool isStreamError() const { return streamError_; }
    // The HTTP status a failed download carries, or 0.
    unsigned httpStatus() const { return httpStatus_; }
    // The platform's AVError code for this problem: a server answer, a format, or unknown.
    long platformErrorCode() const;
    // The status an error-log entry carries for it: the HTTP status, else the platform's code.
    long logStatusCode() const {
        return httpStatus_ != 0 ? static_cast<long>(httpStatus_) : platformErrorCode();
    }

  private:
    std::string message_;
    std::string debug_;
    bool streamError_ = false;
    unsigned httpStatus_ = 0;
};

}  // namespace veyrakit
