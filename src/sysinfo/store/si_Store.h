// The durable values: rows in a file that survives power loss and damage.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sysinfo/record/si_Rows.h"
#include "sysinfo/store/si_DirectoryLock.h"
#include "sysinfo/store/si_Keeper.h"

namespace services::sysinfo {

/// The store's file, in the configuration directory.
std::string storePath();

/// Keeps rows in a file (si_Keeper.h), with a verified copy of its last state beside it. Any thread
/// may call. The file's directory belongs to one process at a time, until the store or the process
/// ends.
///
/// A file that is damaged, or of a newer schema, is set aside as NAME.damaged-N or NAME.newer-N,
/// with an error line, and the last good copy takes its place; without one the store begins with
/// the rows it is given.
class Store {
 public:
  /// Renders the rows after each change, as the last step of it.
  using Render = std::function<void(const Rows& rows)>;

  /// Opens the file, whose directory is made when it is missing, once no other process has it;
  /// `pause` is DirectoryLock's. When it cannot be opened the store says so in an
  /// error line and answers the rows of the good copy where there is one; each change then tries
  /// again to open it, and is refused while that fails, or for good where the file turns out to
  /// hold other rows: those are not written over.
  Store(const std::string& path, const Rows& initial, Render render,
        const std::function<bool()>& pause = {});

  /// Whether another process has the store, so that it must not be used.
  bool isElsewhere() const { return m_isElsewhere; }

  /// What is stored now.
  Rows rows() const;

  /// Makes the rows of these scopes what `rows` says, durably, in one transaction. False, with an
  /// error line and nothing changed, when that fails.
  bool replace(const std::vector<std::string>& scopes, const Rows& rows);

 private:
  bool own(const std::function<bool()>& pause);
  std::unique_ptr<Keeper> open();
  bool reopen();
  bool commit(const Rows& wanted);
  void readCopy();
  void keepCopy();

  const std::string m_path;
  const Render m_render;
  mutable std::mutex m_mutex;  // a leaf
  DirectoryLock m_lock;
  std::atomic<bool> m_isElsewhere = false;
  bool m_known = false;  // whether the rows are those that the file held when it was last open
  std::unique_ptr<Keeper> m_database;
  Rows m_rows;
};

}  // namespace services::sysinfo
