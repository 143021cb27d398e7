// Named locks that processes hold.
#pragma once

#include <cstdint>
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

  /// Takes a lock for a process. The answer tells this taking from all others; it is 0 when the
  /// lock is held, also by that process.
  std::uint64_t take(const std::string& name, int pid);
  /// Gives a lock back. False when the process does not hold it.
  bool release(const std::string& name, int pid);
  /// Gives a lock back that is still held by that taking.
  void endTaking(const std::string& name, std::uint64_t taking);

  /// The locks that are held and their holders, by name.
  std::vector<std::pair<std::string, int>> list() const;

  /// Releases the locks whose holders no longer exist and answers how many those were.
  int unlockDeadPids();

 private:
  mutable std::mutex m_mutex;
  struct Holder {
    int pid;
    std::uint64_t taking;
  };
  std::map<std::string, Holder> m_holders;
  std::uint64_t m_takings = 0;
};

}  // namespace framework
