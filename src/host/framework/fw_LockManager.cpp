// Named locks that processes hold.
#include "host/framework/fw_LockManager.h"

#include <signal.h>

#include <cerrno>

namespace framework {

namespace {
bool isDead(int pid) { return ::kill(pid, 0) != 0 && errno == ESRCH; }
}  // namespace

LockManager* LockManager::getInstance() {
  static LockManager only;
  return &only;
}

bool LockManager::take(const std::string& name, int pid) {
  const std::lock_guard lock(m_mutex);
  return m_holders.emplace(name, pid).second;
}

bool LockManager::release(const std::string& name, int pid) {
  const std::lock_guard lock(m_mutex);
  const auto found = m_holders.find(name);
  if (found == m_holders.end() || found->second != pid) return false;
  m_holders.erase(found);
  return true;
}

std::vector<std::pair<std::string, int>> LockManager::list() const {
  const std::lock_guard lock(m_mutex);
  return {m_holders.begin(), m_holders.end()};
}

int LockManager::unlockDeadPids() {
  const std::lock_guard lock(m_mutex);
  return static_cast<int>(
      std::erase_if(m_holders, [](const auto& held) { return isDead(held.second); }));
}

}  // namespace framework
