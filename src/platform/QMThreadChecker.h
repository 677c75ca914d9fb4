#pragma once
#include <string_view>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// Which thread the main run loop belongs to. Everything the SDK does runs there (the only other
// thread is the shared URL session's worker); debug builds check it at the entry points with
// QM_DCHECK_ON_MAIN_LOOP_THREAD and abort on a violation, as a failed assertion does. Builds with
// NDEBUG compile the checks out; the query below works in every build.
//
// Binding: the main loop's thread is the first thread that runs the main loop or asks whether it
// is on it (in practice the host's main thread, which calls the SDK before or while running the
// loop). Installing or dropping a main loop (QMRunLoop::setMainRunLoop) unbinds it, so a test
// that replaces the loop starts afresh; the next run or check binds again.
class VEYRAKIT_EXPORT QMThreadChecker {
  public:
    QMThreadChecker() = delete;

    // True when the calling thread is the main loop's thread; binds it to the caller if unbound.
    static bool isOnMainLoopThread();
    // Forgets the bound thread.
    static void unbindMainLoopThread();
    // Writes which operation was called from which thread and which thread the main loop is on
    // to stderr (not the console sink: a test may have captured it), then aborts.
    [[noreturn]] static void failOffMainLoopThread(std::string_view operation);
};

}  // namespace veyrakit

#ifdef NDEBUG
#define QM_DCHECK_ON_MAIN_LOOP_THREAD(operation) static_cast<void>(0)
#else
// `operation` names what was called; it is only evaluated when the check fails.
#define QM_DCHECK_ON_MAIN_LOOP_THREAD(operation)                           \
    do {                                                                   \
        if (!::veyrakit::QMThreadChecker::isOnMainLoopThread()) {          \
            ::veyrakit::QMThreadChecker::failOffMainLoopThread(operation); \
        }                                                                  \
    } while (false)
#endif
