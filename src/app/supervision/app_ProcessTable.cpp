// The table of the supervised daemons' records.
#include "app/supervision/app_ProcessTable.h"

#include <mutex>
#include <utility>

namespace services::app {

void ProcessTable::add(std::unique_ptr<Process> process) {
  m_records.push_back(process.get());
  m_items.add(std::move(process));
}

Process* ProcessTable::sorted(unsigned int n) const {
  return dynamic_cast<Process*>(m_items.getSorted(n));
}

Process* ProcessTable::find(strings::stringtoken name) const {
  return dynamic_cast<Process*>(m_items.get(name));
}

Process* ProcessTable::open(strings::stringtoken name) const {
  const std::lock_guard lock(m_lock);
  return obtainLock(find(name));
}

Process* ProcessTable::openSorted(unsigned int n) const {
  const std::lock_guard lock(m_lock);
  return obtainLock(sorted(n));
}

Process* ProcessTable::obtainLock(Process* process) const {
  if (process == nullptr) return nullptr;
  while (process->getLocked()) {
    if (m_givingUp()) return nullptr;
    m_lock.wait(1);
  }
  process->setLocked(true);
  return process;
}

void ProcessTable::close(Process* process) const {
  if (process == nullptr) return;
  const std::lock_guard lock(m_lock);
  process->setLocked(false);
  m_lock.broadcast();
}

}  // namespace services::app
