#include "QMGStreamerProblem.h"

#include "veyrakit/platform/avfoundation/AVError.h"

namespace veyrakit {

QMGStreamerProblem QMGStreamerProblem::fromMessage(GstMessage* message) {
    GError* error = nullptr;
    gchar* debug = nullptr;
    const GstStructure* details = nullptr;
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        gst_message_parse_error(message, &error, &debug);
        gst_message_parse_error_details(message, &details);
    } else {
        gst_message_parse_warning(message, &error, &debug);
        gst_message_parse_warning_details(message, &details);
    }
    QMGStreamerProblem problem;
    problem.message_ = error && error->message ? error->message : "";
    problem.debug_ = debug ? debug : "";
    problem.streamError_ = error && error->domain == GST_STREAM_ERROR;
    if (details) {
        gst_structure_get_uint(details, "http-status-code", &problem.httpStatus_);
    }
    g_clear_error(&error);
    g_free(debug);
    return problem;
}

std::string QMGStreamerProblem::comment() const {
    if (debug_.empty()) return message_;
    if (message_.empty()) return debug_;
    return message_ + " (" + debug_ + ")";
}

long QMGStreamerProblem::platformErrorCode() const {
    if (httpStatus_ != 0) return AVErrorServerIncorrectlyConfigured;
    if (streamError_) return AVErrorFileFormatNotRecognized;
    return AVErrorUnknown;
}

}  // namespace veyrakit
