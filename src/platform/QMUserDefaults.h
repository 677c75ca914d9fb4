#pragma once
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMJSON.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Persistent key/value store. Backed by a JSON file written atomically (temporary file +
// rename). Location: $VEYRAKIT_DEFAULTS_PATH, else $XDG_CONFIG_HOME/veyrakit/defaults.json, else
// ~/.config/veyrakit/defaults.json. An unreadable or corrupt file is moved aside
// (<file>.corrupt) with a console line; the store then starts empty. Every change is written
// through at once (so nothing set is lost if the host dies); synchronize() writes again and says
// whether the file could be written. Never throws to the caller. Used on the main loop's thread
// only, like the rest of the SDK, so nothing is locked.
//
// The file never grows beyond kMaximumFileLength: a change that would make it larger is refused
// with a console line, and the store keeps what it had, in memory and on disk. A file found
// larger than that (written by an older version) is not read but removed, with a console line,
// and the store starts empty.
class VEYRAKIT_EXPORT QMUserDefaults : public QMObject {
  public:
    // 64 KiB. What the SDK stores is one viewer id, a short string that a server offers; the bound
    // is what keeps a server's answer from filling the user's disk.
    static constexpr std::size_t kMaximumFileLength = std::size_t{64} << 10;

    static std::shared_ptr<QMUserDefaults> standardUserDefaults();
    // Drops the shared instance so that the next call reloads from the (possibly new) location.
    static void resetStandardUserDefaults();

    explicit QMUserDefaults(std::string path);

    std::optional<QMJSON> objectForKey(const std::string& key) const;
    std::optional<std::string> stringForKey(const std::string& key) const;  // only string values
    void setObject(const QMJSON& value, const std::string& forKey);         // null removes the key
    void removeObjectForKey(const std::string& key);
    bool synchronize();  // writes the file; false (with a console line) when it cannot
    const std::string& path() const { return path_; }

  private:
    void load();
    bool persist();
    bool write(const std::string& text);
    std::string path_;
    QMJSON values_ = QMJSON::object();
};

}  // namespace veyrakit
