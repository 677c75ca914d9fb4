#include "collector/QMCollectorStore.h"

#include <sqlite3.h>

#include "collector/QMBoundedJSON.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

const char* const kSchema = R"SQL(
CREATE TABLE IF NOT EXISTS requests (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  received_ms INTEGER NOT NULL,
  endpoint TEXT NOT NULL,
  method TEXT NOT NULL,
  path TEXT NOT NULL,
  headers TEXT NOT NULL,
  body BLOB NOT NULL,
  session_id TEXT,
  answer_status INTEGER NOT NULL,
  answer_body BLOB NOT NULL
);
CREATE INDEX IF NOT EXISTS requests_by_session ON requests(session_id);
CREATE TABLE IF NOT EXISTS sessions (
  session_id TEXT PRIMARY KEY,
  created_ms INTEGER NOT NULL,
  init_request_id INTEGER NOT NULL REFERENCES requests(id)
);
)SQL";

// One prepared statement, finalised when it goes out of scope.
class Statement {
  public:
    Statement(sqlite3* db, const std::string& sql) : db_(db) {
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt_, nullptr) != SQLITE_OK) fail("prepare");
    }
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void bind(int index, int64_t value) { sqlite3_bind_int64(stmt_, index, value); }
    // The 64-bit forms: a size past INT_MAX must not wrap into a negative length.
    void bind(int index, const std::string& text) {
        sqlite3_bind_text64(stmt_, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    }
    void bindBlob(int index, const std::string& bytes) {
        sqlite3_bind_blob64(stmt_, index, bytes.data(), bytes.size(), SQLITE_TRANSIENT);
    }
    void bind(int index, const std::optional<std::string>& text) {
        if (text)
            bind(index, *text);
        else
            sqlite3_bind_null(stmt_, index);
    }
    // True while there is a row to read.
    bool step() {
        int rc = sqlite3_step(stmt_);
        if (rc == SQLITE_ROW) return true;
        if (rc != SQLITE_DONE) fail("step");
        return false;
    }
    int64_t integer(int column) const { return sqlite3_column_int64(stmt_, column); }
    std::optional<std::string> text(int column) const {
        if (sqlite3_column_type(stmt_, column) == SQLITE_NULL) return std::nullopt;
        auto data = static_cast<const char*>(sqlite3_column_blob(stmt_, column));
        return std::string(data ? data : "", static_cast<size_t>(sqlite3_column_bytes(stmt_, column)));
    }

  private:
    [[noreturn]] void fail(const char* what) const {
        throw QMCollectorStore::Error(std::string("database ") + what + " failed: " + sqlite3_errmsg(db_));
    }
    sqlite3* db_;
    sqlite3_stmt* stmt_ = nullptr;
};

std::string headersText(const QMCollectorRequest::Headers& headers) {
    Json pairs = Json::array();
    for (const auto& [name, value] : headers) pairs.push_back(Json::array({name, value}));
    // A header value that is not UTF-8 is stored with U+FFFD in its place, not refused.
    return pairs.dump(-1, ' ', false, Json::error_handler_t::replace);
}

QMCollectorRequest::Headers headersFromText(const std::string& text) {
    QMCollectorRequest::Headers headers;
    for (const auto& pair : Json::parse(text, nullptr, false)) {
        headers.emplace_back(pair.at(0).get<std::string>(), pair.at(1).get<std::string>());
    }
    return headers;
}

const char* const kRequestColumns =
    "SELECT id, received_ms, endpoint, method, path, headers, body, session_id, answer_status, answer_body "
    "FROM requests ";

QMCollectorRequest requestFromRow(const Statement& row) {
    QMCollectorRequest request;
    request.id = row.integer(0);
    request.receivedMillis = row.integer(1);
    request.endpoint =
        QMCollectorRequest::endpointNamed(row.text(2).value_or("")).value_or(QMCollectorEndpoint::Other);
    request.method = row.text(3).value_or("");
    request.path = row.text(4).value_or("");
    request.headers = headersFromText(row.text(5).value_or("[]"));
    request.body = row.text(6).value_or("");
    request.sessionId = row.text(7);
    request.answerStatus = static_cast<int>(row.integer(8));
    request.answerBody = row.text(9).value_or("");
    return request;
}

QMCollectorStore::Session sessionFromRow(const Statement& row) {
    return QMCollectorStore::Session{row.text(0).value_or(""), row.integer(1), row.integer(2)};
}

}  // namespace

QMCollectorStore::QMCollectorStore(const std::string& path) : path_(path) {
    if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) {
        std::string message = db_ ? sqlite3_errmsg(db_) : "out of memory";
        sqlite3_close(db_);
        throw Error("cannot open database '" + path + "': " + message);
    }
    try {
        execute(kSchema);
    } catch (const Error& error) {
        sqlite3_close(db_);
        throw Error("cannot use database '" + path + "': " + error.what());
    }
}

QMCollectorStore::~QMCollectorStore() { sqlite3_close(db_); }

void QMCollectorStore::execute(const std::string& sql) const {
    char* message = nullptr;
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
        std::string text = message ? message : "unknown error";
        sqlite3_free(message);
        throw Error(text);
    }
}

int64_t QMCollectorStore::record(QMCollectorRequest& request,
                                 const std::optional<std::string>& openedSessionId) {
    std::lock_guard lock(mutex_);
    execute("BEGIN");
    try {
        Statement insert(
            db_,
            "INSERT INTO requests (received_ms, endpoint, method, path, headers, body, session_id, "
            "answer_status, answer_body) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
        insert.bind(1, request.receivedMillis);
        insert.bind(2, QMCollectorRequest::endpointName(request.endpoint));
        insert.bind(3, request.method);
        insert.bind(4, request.path);
        insert.bind(5, headersText(request.headers));
        insert.bindBlob(6, request.body);
        insert.bind(7, request.sessionId);
        insert.bind(8, static_cast<int64_t>(request.answerStatus));
        insert.bindBlob(9, request.answerBody);
        insert.step();
        request.id = sqlite3_last_insert_rowid(db_);
        if (openedSessionId) {
            Statement session(
                db_, "INSERT INTO sessions (session_id, created_ms, init_request_id) VALUES (?, ?, ?)");
            session.bind(1, *openedSessionId);
            session.bind(2, request.receivedMillis);
            session.bind(3, request.id);
            session.step();
        }
        execute("COMMIT");
    } catch (...) {
        execute("ROLLBACK");
        throw;
    }
    return request.id;
}

std::optional<QMCollectorStore::Session> QMCollectorStore::session(const std::string& sessionId) const {
    std::lock_guard lock(mutex_);
    Statement query(db_, "SELECT session_id, created_ms, init_request_id FROM sessions WHERE session_id = ?");
    query.bind(1, sessionId);
    if (!query.step()) return std::nullopt;
    return sessionFromRow(query);
}

std::vector<QMCollectorStore::Session> QMCollectorStore::sessions() const {
    std::lock_guard lock(mutex_);
    Statement query(db_,
                    "SELECT session_id, created_ms, init_request_id FROM sessions ORDER BY init_request_id");
    std::vector<Session> result;
    while (query.step()) result.push_back(sessionFromRow(query));
    return result;
}

std::optional<std::string> QMCollectorStore::newestSessionOfAsset(const std::string& assetId,
                                                                  const std::string& qmrCID) const {
    std::lock_guard lock(mutex_);
    Statement query(db_,
                    "SELECT sessions.session_id, requests.body FROM sessions JOIN requests "
                    "ON requests.id = sessions.init_request_id ORDER BY sessions.init_request_id DESC");
    while (query.step()) {
        auto body = veyrakit::QMBoundedJSON::parse(query.text(1).value_or(""));
        if (body && body->is_object() && body->value("assetId", Json()) == assetId &&
            body->value("qmrCID", Json()) == qmrCID)
            return query.text(0);
    }
    return std::nullopt;
}

std::vector<std::string> QMCollectorStore::sessionIdsSeen() const {
    std::lock_guard lock(mutex_);
    Statement query(db_,
                    "SELECT session_id FROM requests WHERE session_id IS NOT NULL GROUP BY session_id "
                    "ORDER BY MIN(id)");
    std::vector<std::string> result;
    while (query.step()) result.push_back(query.text(0).value_or(""));
    return result;
}

std::vector<QMCollectorRequest> QMCollectorStore::selectRequests(const std::string& where,
                                                                 const std::optional<std::string>& sessionId,
                                                                 std::optional<int64_t> afterId) const {
    std::lock_guard lock(mutex_);
    Statement query(db_, kRequestColumns + where + " ORDER BY id");
    if (sessionId) query.bind(1, *sessionId);
    if (afterId) query.bind(2, *afterId);
    std::vector<QMCollectorRequest> result;
    while (query.step()) result.push_back(requestFromRow(query));
    return result;
}

std::vector<QMCollectorRequest> QMCollectorStore::requests() const {
    return selectRequests("", std::nullopt);
}

std::vector<QMCollectorRequest> QMCollectorStore::requestsOfSession(const std::string& sessionId,
                                                                    int64_t afterId) const {
    // Numbers start at 1: after 0 is the whole session.
    return selectRequests("WHERE session_id = ? AND id > ?", sessionId, afterId);
}

std::vector<QMCollectorRequest> QMCollectorStore::requestsWithoutSession() const {
    return selectRequests("WHERE session_id IS NULL", std::nullopt);
}

int64_t QMCollectorStore::countRequestsWithoutSession() const {
    std::lock_guard lock(mutex_);
    Statement query(db_, "SELECT COUNT(*) FROM requests WHERE session_id IS NULL");
    query.step();
    return query.integer(0);
}

}  // namespace veyrakit
