#include "reporting/QMReportingSession.h"

#include <utility>

namespace veyrakit {

namespace {

QMReportingSession::Lookup& installedLookup() {
    static QMReportingSession::Lookup lookup;
    return lookup;
}

}  // namespace

std::shared_ptr<QMReportingSession> QMReportingSession::current() {
    const auto& lookup = installedLookup();
    return lookup ? lookup() : nullptr;
}

void QMReportingSession::setLookup(Lookup lookup) { installedLookup() = std::move(lookup); }

}  // namespace veyrakit
