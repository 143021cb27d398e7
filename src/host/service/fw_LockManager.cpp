// Named locks that processes hold.
#include "host/service/fw_LockManager.h"

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

std::uint64_t LockManager::take(const std::string& name, int pid) {
  const std::lock_guard lock(m_mutex);
  return m_holders.try_emplace(name, Holder{pid, m_takings + 1}).second ? ++m_takings : 0;
}

bool LockManager::release(const std::string& name, int pid) {
  const std::lock_guard lock(m_mutex);
  const auto found = m_holders.find(name);
  if (found == m_holders.end() || found->second.pid != pid) return false;
  m_holders.erase(found);
  return true;
}

void LockManager::endTaking(const std::string& name, std::uint64_t taking) {
  const std::lock_guard lock(m_mutex);
  const auto found = m_holders.find(name);
  if (found != m_holders.end() && found->second.taking == taking) m_holders.erase(found);
}

std::vector<std::pair<std::string, int>> LockManager::list() const {
  const std::lock_guard lock(m_mutex);
  std::vector<std::pair<std::string, int>> all;
  for (const auto& [name, holder] : m_holders) all.emplace_back(name, holder.pid);
  return all;
}

int LockManager::unlockDeadPids() {
  const std::lock_guard lock(m_mutex);
  return static_cast<int>(
      std::erase_if(m_holders, [](const auto& held) { return isDead(held.second.pid); }));
}

}  // namespace framework
