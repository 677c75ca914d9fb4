#pragma once
#include <memory>
#include <optional>
#include <string>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// An absolute URL (parsed with libcurl's URL API). URLWithString returns nullptr for a string
// that is not a URL.
class VEYRAKIT_EXPORT QMURL : public QMObject {
  public:
    static std::shared_ptr<QMURL> URLWithString(const std::string& string);
    static std::shared_ptr<QMURL> fileURLWithPath(const std::string& path);
    // `string` as a reference relative to `baseURL` (absolute as it is, from the host's root with a
    // leading slash, else beside the base's last path step), resolved by libcurl; nullptr when it
    // cannot be.
    static std::shared_ptr<QMURL> URLWithString(const std::string& string, const QMURL& baseURL);

    const std::string& absoluteString() const { return absoluteString_; }
    std::string scheme() const;
    std::string host() const;
    std::optional<int> port() const;
    std::string path() const;
    std::string pathExtension() const;
    bool isFileURL() const;
    std::string description() const override { return absoluteString_; }

    explicit QMURL(std::string absoluteString);

  private:
    std::string absoluteString_;
};

}  // namespace veyrakit
