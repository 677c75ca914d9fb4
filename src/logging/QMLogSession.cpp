#include "logging/QMLogSession.h"

#include <utility>

namespace veyrakit {

namespace {

QMLogSession::Lookup& installedLookup() {
    static QMLogSession::Lookup lookup;
    return lookup;
}

}  // namespace

std::shared_ptr<QMLogSession> QMLogSession::current() {
    const auto& lookup = installedLookup();
    return lookup ? lookup() : nullptr;
}

void QMLogSession::setLookup(Lookup lookup) { installedLookup() = std::move(lookup); }

}  // namespace veyrakit
