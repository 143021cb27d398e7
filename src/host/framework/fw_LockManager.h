// Named locks that processes hold.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace framework {

/// The named locks of the enclosure's processes, each held by a process id. Any thread may call.
class LockManager {
 public:
  static LockManager* getInstance();

  /// Takes a lock for a process. False when it is held, also by that process.
  bool take(const std::string& name, int pid);
  /// Gives a lock back. False when the process does not hold it.
  bool release(const std::string& name, int pid);

  /// The locks that are held and their holders, by name.
  std::vector<std::pair<std::string, int>> list() const;

  /// Releases the locks whose holders no longer exist and answers how many those were.
  int unlockDeadPids();

 private:
  mutable std::mutex m_mutex;
  std::map<std::string, int> m_holders;
};

}  // namespace framework
