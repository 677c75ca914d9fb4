#pragma once
#include <memory>
#include <string>

#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

// The kind of stream a media URL names, as the session request carries it ("streamType").
class QMStreamType : public QMObject {
  public:
    QMStreamType() = delete;

    static const std::string& PDL();        // "PDL": a progressive download (.mp4)
    static const std::string& HLS();        // "HLS": a playlist (.m3u8)
    static const std::string& MPEG_DASH();  // "MPEG_DASH": a manifest (.mpd)
    static const std::string& UNKNOWN();    // "UNKNOWN": anything else

    // Tested in the order PDL, HLS, MPEG_DASH against the whole URL text, ignoring case and
    // anchored at its end: a query string after the extension makes it UNKNOWN. No URL is
    // UNKNOWN too.
    static const std::string& streamTypeForURL(const std::shared_ptr<QMURL>& url);
};

}  // namespace veyrakit
