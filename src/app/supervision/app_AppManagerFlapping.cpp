// The supervision service: daemons that are restarted again and again, and what is told of them.
#include <algorithm>

#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_PartnerSummary.h"
#include "host/service/fw_EventManager.h"
#include "util/ut_TimeMeasure.h"

namespace services::app {

using utility::TimeMeasure;

namespace {

constexpr std::int64_t minute = 60 * std::int64_t{1000000};

}  // namespace

// How often it was restarted within the time that counts; 0 where that is not too often.
unsigned int AppManager::failures(const Process& process) const {
  const Clock from = TimeMeasure::getTimestamp() - m_flapMinutes * minute;
  const unsigned int restarts = m_history.restartsSince(process.getNameString(), from);
  return restarts > static_cast<unsigned int>(m_flapRestarts) ? restarts : 0;
}

void AppManager::noteRestart(const Process& process) {
  const unsigned int restarts = failures(process);
  if (restarts == 0 || !m_failing.insert(&process).second) return;
  const char* name = process.getNameString();
  LogError("%s: %s is failing: restarted %u times in %d minutes", getNameString(), name, restarts,
           m_flapMinutes);
  framework::EventManager::instance().raise(strings::token<"daemonFlapping">, name);
}

void AppManager::forgetSteady() {
  for (const Process* process : m_processes.records()) {
    if (!m_failing.contains(process) || failures(*process) > 0) continue;
    m_failing.erase(process);
    LogInfo("%s: %s is no longer failing", getNameString(), process->getNameString());
  }
}

bool AppManager::mayMail(const Process& process) {
  MailLimit& mails = m_mails[&process];
  const auto limit = static_cast<unsigned int>(m_crashMailLimit);
  if (mails.allows(TimeMeasure::getTimestamp(), limit)) return true;
  LogWarning("%s: no crash mail of %s: %u an hour are its limit, %u left out since the last",
             getNameString(), process.getNameString(), limit, mails.leftOut());
  return false;
}

std::vector<FailingDaemon> AppManager::failingDaemons(std::size_t most) {
  std::vector<FailingDaemon> failing;
  const AppManager* const manager = getSingleton();
  if (manager == nullptr) return failing;
  for (const Process* process : manager->m_processes.records()) {
    const unsigned int restarts = manager->failures(*process);
    if (restarts > 0) failing.push_back({process->getNameString(), restarts});
  }
  std::ranges::stable_sort(failing, std::greater(), &FailingDaemon::restarts);
  if (failing.size() > most) failing.resize(most);
  return failing;
}

std::string AppManager::failingOnBoth() {
  const AppManager* const manager = getSingleton();
  const auto partner = partnerSummary();
  if (manager == nullptr || !partner) return "";
  if (TimeMeasure::getTimestamp() - partner->received > manager->m_flapMinutes * minute) return "";
  std::string names;
  for (const FailingDaemon& own : failingDaemons()) {
    const auto its = std::ranges::find(partner->daemons, own.name, &PartnerSummary::Daemon::name);
    if (its == partner->daemons.end() || its->failures == 0) continue;
    names += (names.empty() ? "" : ", ") + own.name;
  }
  return names.empty() ? "" : names + ": failing on both controllers, suspect what they share";
}

}  // namespace services::app
