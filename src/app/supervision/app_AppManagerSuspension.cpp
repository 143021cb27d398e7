// The supervision service: daemons that are left down, by whom and until when.
#include "app/supervision/app_AppManager.h"
#include "host/base/st_StringRepository.h"
#include "host/log/fw_Logger.h"
#include "util/ut_TimeMeasure.h"

namespace services::app {

using utility::TimeMeasure;

std::string Suspension::text() const {
  std::string text = by;
  if (until != 0) {
    const std::int64_t left = until - TimeMeasure::getTimestamp();
    const std::int64_t begun = 999999;  // a second that is not over counts whole
    text += ", for " + std::to_string(TimeMeasure::getSeconds(left + begun)) + " s";
  }
  return reason.empty() ? text : text + ": " + reason;
}

bool AppManager::getProcessSuspend(strings::stringtoken name) {
  const Claim process = claim(name);
  return process && process->getSuspend();
}

void AppManager::setProcessSuspend(strings::stringtoken name, bool suspend, const char* by) {
  AppManager* const manager = getSingleton();
  const Claim process = claim(name);
  if (!process) return;
  if (isDebugOn()) {
    framework::Logger::StaticLogMethod(
        framework::LogType::Debug, __PRETTY_FUNCTION__, __LINE__, "set suspend \"%s\", %s",
        strings::StringRepository::toString(name), suspend ? strings::pGStrue : strings::pGSfalse);
  }
  suspend ? manager->suspend(*process, {.by = by}, false) : manager->resume(*process, by);
}

bool AppManager::suspendProcess(strings::stringtoken name, const Suspension& suspension,
                                bool anew) {
  AppManager* const manager = getSingleton();
  const Claim process = claim(name);
  if (process) manager->suspend(*process, suspension, anew);
  return static_cast<bool>(process);
}

void AppManager::suspend(Process& process, const Suspension& suspension, bool anew) {
  if (takeOver(process, suspension, anew)) noteAsked(process, "suspend", suspension.text());
}

// One without an end stands against another unless that is to replace it. The flag and who set it
// change together.
bool AppManager::takeOver(Process& process, const Suspension& suspension, bool anew) {
  std::unique_lock lock(m_askedLock);
  const auto changed = m_suspensionChanged;
  const auto earlier = m_suspensions.find(&process);
  const bool ends = earlier != m_suspensions.end() && earlier->second.until != 0;
  if (process.getSuspend() && !anew && !ends) return false;
  process.setSuspend(true);
  m_suspensions[&process] = suspension;
  lock.unlock();
  if (changed) changed();
  return true;
}

void AppManager::resume(Process& process, const char* by) {
  if (process.getSuspend()) noteAsked(process, "resume", by);
  std::unique_lock lock(m_askedLock);
  const auto changed = m_suspensionChanged;
  process.setSuspend(false);
  m_suspensions.erase(&process);
  lock.unlock();
  if (changed) changed();
}

void AppManager::onSuspension(std::function<void()> changed) {
  const std::lock_guard lock(m_askedLock);
  m_suspensionChanged = std::move(changed);
}

std::map<std::string, Suspension> AppManager::suspensions() const {
  std::map<std::string, Suspension> suspensions;
  const std::lock_guard lock(m_askedLock);
  for (const auto& [process, one] : m_suspensions) suspensions[process->getNameString()] = one;
  return suspensions;
}

std::optional<Suspension> AppManager::suspensionOf(const Process& process) const {
  const std::lock_guard lock(m_askedLock);
  const auto found = m_suspensions.find(&process);
  if (found == m_suspensions.end()) return std::nullopt;
  return found->second;
}

void AppManager::endSuspensions() {
  for (Process* process : m_processes.records()) {
    if (!endSuspension(*process)) continue;
    LogInfo("%s: the suspension of %s is over", getNameString(), process->getNameString());
    noteAsked(*process, "resume", "its suspension is over");
  }
}

bool AppManager::endSuspension(Process& process) {
  const std::lock_guard lock(m_askedLock);
  const auto found = m_suspensions.find(&process);
  if (found == m_suspensions.end() || found->second.until == 0) return false;
  if (TimeMeasure::getTimestamp() < found->second.until) return false;
  process.setSuspend(false);
  m_suspensions.erase(found);
  return true;
}

}  // namespace services::app
