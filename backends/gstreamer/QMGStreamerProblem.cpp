#include "QMGStreamerProblem.h"

#include <cstdio>
#include <cstring>

#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/avfoundation/AVError.h"

namespace veyrakit {

namespace {

// The media stack's log domain for its own failures (what the platform's error logs carry).
constexpr const char* kMediaLogDomain = "CoreMediaErrorDomain";

bool isNetworkCause(QMGStreamerCause cause) {
    return cause == QMGStreamerCause::CannotConnect || cause == QMGStreamerCause::HostNotFound ||
           cause == QMGStreamerCause::TimedOut || cause == QMGStreamerCause::FileNotFound;
}

long URLErrorCodeOf(QMGStreamerCause cause) {
    switch (cause) {
        case QMGStreamerCause::CannotConnect:
            return NSURLErrorCannotConnectToHost;
        case QMGStreamerCause::HostNotFound:
            return NSURLErrorCannotFindHost;
        case QMGStreamerCause::TimedOut:
            return NSURLErrorTimedOut;
        default:
            return NSURLErrorFileDoesNotExist;
    }
}

const char* factoryOf(GstObject* object) {
    if (!object || !GST_IS_ELEMENT(object)) return "";
    GstElementFactory* factory = gst_element_get_factory(GST_ELEMENT_CAST(object));
    return factory ? GST_OBJECT_NAME(factory) : "";
}

}  // namespace

QMGStreamerCause QMGStreamerProblem::causeOf(const GError* error, unsigned httpStatus, bool fromFile,
                                             QMGStreamerCause networkCause) {
    if (httpStatus != 0) return QMGStreamerCause::HTTPStatus;
    if (networkCause != QMGStreamerCause::Unknown) return networkCause;
    if (!error) return QMGStreamerCause::Unknown;
    if (error->domain == GST_RESOURCE_ERROR && error->code == GST_RESOURCE_ERROR_NOT_FOUND && fromFile) {
        return QMGStreamerCause::FileNotFound;
    }
    if (error->domain == GST_CORE_ERROR && error->code == GST_CORE_ERROR_MISSING_PLUGIN) {
        return QMGStreamerCause::Unsupported;
    }
    if (error->domain != GST_STREAM_ERROR) return QMGStreamerCause::Unknown;
    switch (error->code) {
        case GST_STREAM_ERROR_TYPE_NOT_FOUND:
        case GST_STREAM_ERROR_CODEC_NOT_FOUND:
        case GST_STREAM_ERROR_WRONG_TYPE:
        case GST_STREAM_ERROR_NOT_IMPLEMENTED:
            return QMGStreamerCause::Unsupported;
        case GST_STREAM_ERROR_DECODE:
        case GST_STREAM_ERROR_DEMUX:
        case GST_STREAM_ERROR_FORMAT:
            return QMGStreamerCause::Corrupt;
        default:
            return QMGStreamerCause::Unknown;
    }
}

QMGStreamerProblem QMGStreamerProblem::fromMessage(GstMessage* message, QMGStreamerCause networkCause) {
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
    if (details) {
        gst_structure_get_uint(details, "http-status-code", &problem.httpStatus_);
    }
    const bool fromFile = std::strcmp(factoryOf(GST_MESSAGE_SRC(message)), "filesrc") == 0;
    problem.cause_ = causeOf(error, problem.httpStatus_, fromFile, networkCause);
    g_clear_error(&error);
    g_free(debug);
    return problem;
}

QMGStreamerProblem QMGStreamerProblem::endedEarly(double position, double duration) {
    QMGStreamerProblem problem;
    problem.cause_ = QMGStreamerCause::EndedEarly;
    char text[128];
    std::snprintf(text, sizeof text, "The media ended at %.0f s of its %.0f s", position, duration);
    problem.message_ = text;
    return problem;
}

bool QMGStreamerProblem::needsServerCheck(GstMessage* message, std::string& uri) {
    if (GST_MESSAGE_TYPE(message) != GST_MESSAGE_ERROR) return false;
    GstObject* source = GST_MESSAGE_SRC(message);
    if (std::strcmp(factoryOf(source), "souphttpsrc") != 0) return false;
    const GstStructure* details = nullptr;
    gst_message_parse_error_details(message, &details);
    if (details && gst_structure_has_field(details, "http-status-code")) return false;
    gchar* location = nullptr;
    g_object_get(source, "location", &location, nullptr);
    uri = location ? location : "";
    g_free(location);
    return !uri.empty();
}

std::string QMGStreamerProblem::comment() const {
    if (debug_.empty()) return message_;
    if (message_.empty()) return debug_;
    return message_ + " (" + debug_ + ")";
}

const char* QMGStreamerProblem::errorDomain() const {
    return isNetworkCause(cause_) ? NSURLErrorDomain : AVFoundationErrorDomain;
}

long QMGStreamerProblem::errorCode() const {
    switch (cause_) {
        case QMGStreamerCause::HTTPStatus:
            return AVErrorServerIncorrectlyConfigured;
        case QMGStreamerCause::Unsupported:
            return AVErrorFileFormatNotRecognized;
        case QMGStreamerCause::Corrupt:
        case QMGStreamerCause::EndedEarly:
            return AVErrorDecodeFailed;
        case QMGStreamerCause::Unknown:
            return AVErrorUnknown;
        default:
            return URLErrorCodeOf(cause_);
    }
}

std::string QMGStreamerProblem::errorDescription() const {
    if (isNetworkCause(cause_)) {
        return QMError::URLErrorWithCode(errorCode())->localizedDescription();
    }
    return message_.empty() ? "The operation could not be completed" : message_;
}

const char* QMGStreamerProblem::logDomain() const {
    return isNetworkCause(cause_) ? NSURLErrorDomain : kMediaLogDomain;
}

}  // namespace veyrakit
