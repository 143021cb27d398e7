// Rows in an SQLite file.
#pragma once

#include <memory>
#include <string>

#include "sysinfo/record/si_Rows.h"

struct sqlite3;

namespace services::sysinfo {

/// One open database file. Not for several threads at once.
///
/// The journal is a rollback journal and every commit is synchronised, the directory included
/// (journal_mode=DELETE, synchronous=EXTRA): what a commit has answered is on the disk, and after a
/// power loss the next opening undoes what was only half written. A digest of all rows (SHA-256)
/// is part of each commit, so that damage is found that leaves the file's structure whole.
class Database {
 public:
  enum class State { Good, Empty, Damaged, Newer, Failed };

  /// The file's name in the directory of the system information.
  static constexpr const char* fileName = "system.db";

  /// Opens the file, made when it is missing, and verifies it; a file of an older schema is brought
  /// forward.
  explicit Database(const std::string& path);

  /// Good: verified. Empty: no row was ever committed. Damaged and Newer: not to be used. Failed:
  /// it could not be opened or read at all, error() says why.
  State state() const { return m_state; }
  const std::string& error() const { return m_error; }
  const Rows& rows() const { return m_rows; }

  /// Makes the rows what `rows` says in one transaction. False with error() set and nothing
  /// changed when it fails.
  bool commit(const Rows& rows);

  /// Writes a complete copy to `path`, where nothing may be.
  bool copyTo(const std::string& path);

  /// The schema that this program writes.
  static int schemaVersion();

 private:
  struct Close {
    void operator()(sqlite3* database) const;
  };

  State verify();
  State check(int& version);
  State failure();
  State damaged(const std::string& cause);
  bool run(const char* statement);
  bool query(const char* statement, std::string& text);
  bool migrate(int from);
  bool write(const Rows& rows);
  bool readRows();

  std::unique_ptr<sqlite3, Close> m_database;
  State m_state = State::Failed;
  bool m_writable = false;  // the file, whatever its content says
  std::string m_error;
  Rows m_rows;
};

}  // namespace services::sysinfo
