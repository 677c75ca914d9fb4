#pragma once
#include <memory>

#include "platform/QMURLTransport.h"

namespace veyrakit {

class QMRunLoop;

// The network transport of the suite's loops: libcurl, except that an exchange with one of the
// fixed default ports (the collector's 8080, the diagnostic streams' 8081 and 8082) fails the test
// that started it and never leaves the process. A test only talks to servers it started on ports
// it chose; one that forgot to point a stream at its own server would otherwise post into whatever
// listens on the developer's machine.
class QMDefaultPortGuard : public QMURLTransport {
  public:
    static std::shared_ptr<QMDefaultPortGuard> shared();
    // A real-time loop whose URL loading goes through the guard.
    static std::shared_ptr<QMRunLoop> guardedLoop();
    static bool isDefaultPort(int port);

    std::shared_ptr<QMURLExchange> start(const std::shared_ptr<QMRunLoop>& loop,
                                         std::shared_ptr<QMURLRequest> request, Events events) override;
};

}  // namespace veyrakit
