// Rows in an SQLite file.
#include "sysinfo/store/si_Database.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "sysinfo/store/si_Transfer.h"

namespace services::sysinfo {

namespace {

// The table that each version of the schema adds, in the words that SQLite keeps.
constexpr const char* tables[] = {
    // 1: the rows
    "CREATE TABLE value (scope TEXT NOT NULL, key TEXT NOT NULL, value TEXT NOT NULL,"
    " PRIMARY KEY (scope, key)) STRICT, WITHOUT ROWID",
    // 2: the digest over them, in one row
    "CREATE TABLE digest (one INTEGER PRIMARY KEY CHECK (one = 1), sha256 TEXT NOT NULL) STRICT",
};

// The tables of a file of that version.
std::string tablesOf(int version) {
  std::string all;
  for (int i = 0; i < version; ++i) all += std::string(tables[i]) + ";";
  return all;
}

constexpr int busyMilliseconds = 2000;  // another program may look into the file

// One prepared statement.
class Statement {
 public:
  Statement(sqlite3* database, const char* text) {
    sqlite3_prepare_v2(database, text, -1, &m_statement, nullptr);
  }
  ~Statement() { sqlite3_finalize(m_statement); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(const std::string& text) {
    sqlite3_bind_text(m_statement, ++m_bound, text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
    return *this;
  }
  /// SQLITE_ROW, SQLITE_DONE or an error; a statement that could not be prepared is an error.
  int step() { return m_statement == nullptr ? SQLITE_ERROR : sqlite3_step(m_statement); }
  bool isDone() { return step() == SQLITE_DONE; }
  std::string text(int column) const {
    const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column));
    return data == nullptr ? std::string() : std::string(data, size);
  }

 private:
  sqlite3_stmt* m_statement = nullptr;
  int m_bound = 0;
};

}  // namespace

void Database::Close::operator()(sqlite3* database) const { sqlite3_close(database); }

int Database::schemaVersion() { return std::ssize(tables); }

Database::Database(const std::string& path) {
  sqlite3* database = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  const int code = sqlite3_open_v2(path.c_str(), &database, flags, nullptr);
  m_database.reset(database);
  if (code == SQLITE_OK) {
    sqlite3_busy_timeout(database, busyMilliseconds);
    m_writable = sqlite3_db_readonly(database, "main") == 0;
    m_state = verify();
  }
  if (m_state == State::Good || m_state == State::Empty) return;
  if (m_error.empty()) m_error = sqlite3_errmsg(database);
  m_database.reset();
}

// What a failed call says of the file: damage, or trouble that may pass.
Database::State Database::failure() {
  const int code = sqlite3_errcode(m_database.get()) & 0xFF;
  if (m_error.empty()) m_error = sqlite3_errmsg(m_database.get());
  constexpr int troubles[] = {SQLITE_PERM,     SQLITE_BUSY,  SQLITE_LOCKED,   SQLITE_NOMEM,
                              SQLITE_READONLY, SQLITE_IOERR, SQLITE_CANTOPEN, SQLITE_FULL,
                              SQLITE_PROTOCOL, SQLITE_NOLFS, SQLITE_AUTH};
  return std::ranges::find(troubles, code) == std::end(troubles) ? State::Damaged : State::Failed;
}

Database::State Database::damaged(const std::string& cause) {
  m_error = cause;
  return State::Damaged;
}

Database::State Database::verify() {
  const bool set = run("PRAGMA journal_mode = DELETE") && run("PRAGMA synchronous = EXTRA") &&
                   run("PRAGMA cell_size_check = ON");
  // All is read in one transaction, since another program may look in and change the file.
  if (!set || !run("BEGIN")) return failure();
  int version = 0;
  const State state = check(version);
  if (state != State::Good) return state;
  if (!run("COMMIT")) return failure();
  if (version < schemaVersion() && !migrate(version)) return State::Failed;
  return m_rows.empty() ? State::Empty : State::Good;
}

Database::State Database::check(int& version) {
  std::string text;
  if (!query("PRAGMA integrity_check(1)", text)) return failure();
  if (text != "ok") return damaged(text.substr(text.rfind('\n') + 1));  // a heading may be before
  // The header of a file names the program that may write it.
  if (m_writable && sqlite3_db_readonly(m_database.get(), "main") != 0) {
    return damaged("its header forbids to write it");
  }
  if (!query("PRAGMA user_version", text)) return failure();
  version = std::atoi(text.c_str());
  if (version > schemaVersion()) {
    m_error = "its schema is " + text + ", known are those to " + std::to_string(schemaVersion());
    return State::Newer;
  }
  if (!query("SELECT group_concat(sql || ';', '') FROM sqlite_schema", text)) return failure();
  if (version < 0 || text != tablesOf(version)) {
    return damaged("its tables are not those of its schema, " + std::to_string(version));
  }
  if (version > 0 && !readRows()) return failure();
  if (version > 1 && !query("SELECT sha256 FROM digest", text)) return failure();
  if (version > 1 && text != digestOf(m_rows)) return damaged("its digest does not match its rows");
  return State::Good;
}

// The first column of the first row. False when the query fails.
bool Database::query(const char* statement, std::string& text) {
  Statement prepared(m_database.get(), statement);
  const int code = prepared.step();
  text = code == SQLITE_ROW ? prepared.text(0) : "";
  return code == SQLITE_ROW || code == SQLITE_DONE;
}

bool Database::readRows() {
  Statement statement(m_database.get(), "SELECT scope, key, value FROM value");
  int code = statement.step();
  for (; code == SQLITE_ROW; code = statement.step()) {
    m_rows[{statement.text(0), statement.text(1)}] = statement.text(2);
  }
  return code == SQLITE_DONE;
}

bool Database::migrate(int from) {
  bool done = run("BEGIN IMMEDIATE");
  for (int version = from; done && version < schemaVersion(); ++version) {
    done = run(tables[version]);
  }
  const std::string stamp = "PRAGMA application_id = 1296258932; PRAGMA user_version = " +
                            std::to_string(schemaVersion());
  done = done && run(stamp.c_str()) && write(m_rows) && run("COMMIT");
  if (!done) run("ROLLBACK");
  return done;
}

// Remembers the first error of a run of statements.
bool Database::run(const char* statement) {
  if (sqlite3_exec(m_database.get(), statement, nullptr, nullptr, nullptr) == SQLITE_OK)
    return true;
  if (m_error.empty()) m_error = sqlite3_errmsg(m_database.get());
  return false;
}

bool Database::write(const Rows& rows) {
  bool done = true;
  const auto finish = [&](Statement& statement) {  // the next one to be prepared clears the error
    if (!done || statement.isDone()) return;
    done = false;
    if (m_error.empty()) m_error = sqlite3_errmsg(m_database.get());
  };
  for (const auto& [place, value] : m_rows) {
    if (rows.contains(place)) continue;
    Statement remove(m_database.get(), "DELETE FROM value WHERE scope = ? AND key = ?");
    finish(remove.bind(place.scope).bind(place.key));
  }
  for (const auto& [place, value] : rows) {
    const auto known = m_rows.find(place);
    if (known != m_rows.end() && known->second == value) continue;
    Statement set(m_database.get(), "INSERT OR REPLACE INTO value VALUES (?, ?, ?)");
    finish(set.bind(place.scope).bind(place.key).bind(value));
  }
  Statement digest(m_database.get(), "INSERT OR REPLACE INTO digest VALUES (1, ?)");
  finish(digest.bind(digestOf(rows)));
  return done;
}

bool Database::commit(const Rows& rows) {
  m_error.clear();
  if (!(run("BEGIN IMMEDIATE") && write(rows) && run("COMMIT"))) {
    const std::string cause = m_error;
    run("ROLLBACK");
    m_error = cause;
    return false;
  }
  m_rows = rows;
  return true;
}

bool Database::copyTo(const std::string& path) {
  Statement copy(m_database.get(), "VACUUM INTO ?");
  if (copy.bind(path).isDone()) return true;
  m_error = sqlite3_errmsg(m_database.get());
  return false;
}

}  // namespace services::sysinfo
