#pragma once
#include <cstdint>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "collector/QMCollectorRequest.h"

struct sqlite3;

namespace veyrakit {

// Every request the collector received, with its answer, and the sessions it opened, in one
// SQLite database (a file, or ":memory:"). Thread-safe.
class QMCollectorStore {
  public:
    struct Session {
        std::string sessionId;
        int64_t createdMillis = 0;
        int64_t initRequestId = 0;
    };

    class Error : public std::runtime_error {
      public:
        using std::runtime_error::runtime_error;
    };

    // Opens or creates the database and its tables; throws Error.
    explicit QMCollectorStore(const std::string& path);
    ~QMCollectorStore();
    QMCollectorStore(const QMCollectorStore&) = delete;
    QMCollectorStore& operator=(const QMCollectorStore&) = delete;

    // Stores the request and gives it its id; `openedSessionId` is the session its answer opened.
    int64_t record(QMCollectorRequest& request,
                   const std::optional<std::string>& openedSessionId = std::nullopt);

    std::optional<Session> session(const std::string& sessionId) const;
    std::vector<Session> sessions() const;
    // The newest session opened by a start request with this "assetId" and "qmrCID".
    std::optional<std::string> newestSessionOfAsset(const std::string& assetId,
                                                    const std::string& qmrCID) const;
    // Every session id that requests carried, opened here or not, in order of first appearance.
    std::vector<std::string> sessionIdsSeen() const;
    std::vector<QMCollectorRequest> requests() const;
    // The session's requests, those stored after the one numbered `afterId` (0: all of them).
    std::vector<QMCollectorRequest> requestsOfSession(const std::string& sessionId,
                                                      int64_t afterId = 0) const;
    std::vector<QMCollectorRequest> requestsWithoutSession() const;
    // Counted by the database, without loading a body.
    int64_t countRequestsWithoutSession() const;

    const std::string& path() const { return path_; }

  private:
    std::vector<QMCollectorRequest> selectRequests(const std::string& where,
                                                   const std::optional<std::string>& sessionId,
                                                   std::optional<int64_t> afterId = std::nullopt) const;
    void execute(const std::string& sql) const;

    std::string path_;
    sqlite3* db_ = nullptr;
    mutable std::mutex mutex_;
};

}  // namespace veyrakit
