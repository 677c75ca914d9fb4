#pragma once

namespace veyrakit {

// The error domain of the platform's media framework and the codes the models use.
inline constexpr const char* AVFoundationErrorDomain = "AVFoundationErrorDomain";

enum : long {
    AVErrorUnknown = -11800,
    AVErrorMediaServicesWereReset = -11819,
    AVErrorDecodeFailed = -11821,
    AVErrorFileFormatNotRecognized = -11828,
    AVErrorServerIncorrectlyConfigured = -11850,
};

}  // namespace veyrakit
