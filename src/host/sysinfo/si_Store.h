// The durable values: rows in a database file that survives power loss and damage.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/sysinfo/si_Database.h"
#include "host/sysinfo/si_Rows.h"

namespace services::sysinfo {

/// The store's file, in the configuration directory.
std::string storePath();

/// Keeps rows in an SQLite file, with a verified copy of its last state beside it. Any thread may
/// call.
///
/// A file that is damaged, or of a newer schema, is set aside as NAME.damaged-N or NAME.newer-N,
/// with an error line, and the last good copy takes its place; without one the store begins with
/// the rows it is given.
class Store {
 public:
  /// Renders the rows after each change, as the last step of it.
  using Render = std::function<void(const Rows& rows)>;

  /// Opens the file, whose directory is made when it is missing. When it cannot be opened the store
  /// says so in an error line, answers the rows of the good copy where there is one, and refuses
  /// every change until the next start: what the file holds is not known, so it is not written
  /// over.
  Store(const std::string& path, const Rows& initial, Render render);

  /// What is stored now.
  Rows rows() const;

  /// Makes the rows of these scopes what `rows` says, durably, in one transaction. False, with an
  /// error line and nothing changed, when that fails.
  bool replace(const std::vector<std::string>& scopes, const Rows& rows);

 private:
  bool open(const Rows& initial);
  void readCopy();
  void keepCopy();

  const std::string m_path;
  const Render m_render;
  mutable std::mutex m_mutex;  // a leaf
  std::unique_ptr<Database> m_database;
  Rows m_rows;
};

}  // namespace services::sysinfo
