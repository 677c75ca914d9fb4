#pragma once
#include <functional>
#include <memory>
#include <string>

#include "platform/QMURLRequest.h"
#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

class QMRunLoop;

// One exchange started by a transport; cancel() stops its events.
class VEYRAKIT_EXPORT QMURLExchange {
  public:
    virtual ~QMURLExchange() = default;
    virtual void cancel() = 0;
};

// How a run loop's URL exchanges reach a server: the seam between URL loading (connections,
// data tasks) and the wire. Each run loop owns one; by default the libcurl transport. A transport
// delivers an exchange's events as tasks on the loop it was given, in this order: one response,
// zero or more data chunks, then finish or failure (a failure may come first).
class VEYRAKIT_EXPORT QMURLTransport {
  public:
    struct Events {
        std::function<void(const std::shared_ptr<QMHTTPURLResponse>&)> response;
        std::function<void(const std::string&)> data;
        std::function<void()> finish;
        std::function<void(const std::shared_ptr<QMError>&)> failure;
    };

    virtual ~QMURLTransport() = default;

    // Starts an exchange whose events arrive on `loop`. Called on `loop`'s thread; the loop (or
    // the transport) keeps the exchange alive while it runs.
    virtual std::shared_ptr<QMURLExchange> start(const std::shared_ptr<QMRunLoop>& loop,
                                                 std::shared_ptr<QMURLRequest> request, Events events) = 0;

    // Where the shared URL session runs its data tasks: false (network transports) on the
    // session's own worker loop; true on the main loop, whose clock the answers then follow
    // (transports that answer in-process on virtual time). Either way the completion runs on
    // the worker.
    virtual bool answersOnMainLoop() const { return false; }
};

}  // namespace veyrakit
