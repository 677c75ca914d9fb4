#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "veyrakit/platform/QMDate.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// One entry of a player's error log: a failure met while loading (a segment answered with an
// HTTP error, a timed-out request...), which playback may survive. Both players' error-log
// events have these fields.
class VEYRAKIT_EXPORT QMMediaErrorLogEvent : public QMObject {
  public:
    QMMediaErrorLogEvent();
    ~QMMediaErrorLogEvent() override;

    const std::shared_ptr<QMDate>& date() const { return date_; }
    void setDate(std::shared_ptr<QMDate> value) { date_ = std::move(value); }
    const std::optional<std::string>& URI() const { return URI_; }
    void setURI(std::optional<std::string> value) { URI_ = std::move(value); }
    const std::optional<std::string>& serverAddress() const { return serverAddress_; }
    void setServerAddress(std::optional<std::string> value) { serverAddress_ = std::move(value); }
    const std::optional<std::string>& playbackSessionID() const { return playbackSessionID_; }
    void setPlaybackSessionID(std::optional<std::string> value) { playbackSessionID_ = std::move(value); }
    // an HTTP status or a negative media-framework code
    long errorStatusCode() const { return errorStatusCode_; }
    void setErrorStatusCode(long value) { errorStatusCode_ = value; }
    const std::optional<std::string>& errorDomain() const { return errorDomain_; }
    void setErrorDomain(std::optional<std::string> value) { errorDomain_ = std::move(value); }
    // nullopt when the platform gives no comment
    const std::optional<std::string>& errorComment() const { return errorComment_; }
    void setErrorComment(std::optional<std::string> value) { errorComment_ = std::move(value); }

  private:
    std::shared_ptr<QMDate> date_;
    std::optional<std::string> URI_;
    std::optional<std::string> serverAddress_;
    std::optional<std::string> playbackSessionID_;
    long errorStatusCode_ = 0;
    std::optional<std::string> errorDomain_;
    std::optional<std::string> errorComment_;
};

}  // namespace veyrakit
