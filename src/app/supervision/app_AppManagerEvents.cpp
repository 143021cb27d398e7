// The supervision service: the events that it handles and passes on, and lock tracking.
#include <algorithm>
#include <cstring>
#include <string>

#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_DaemonEntry.h"
#include "host/base/fw_Container.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Array.h"
#include "host/console/fw_Nearest.h"
#include "host/service/ap_ApplicationService.h"
#include "host/service/fw_LockManager.h"
#include "host/service/fw_ManagedLogs.h"
#include "util/ut_TimeMeasure.h"
#include "util/ut_TimeStamp.h"

namespace services::app {

using strings::StringRepository;

namespace {

// Those of app_Tokens.h.
const strings::Words sharedWords = {"sfcbd",           "logmigrated",     "logMigration",
                                    "logMigrationMc1", "logMigrationMc2", "logMigrationMc3"};

constexpr int lockTrackSeconds = 29;
constexpr int eventSignal = 45;  // a real-time signal whose value is the event's token
constexpr int managedLogsComponent = 12;

// The events that are reported to the managed-logs function.
struct ReportedEvent {
  strings::stringtoken event;
  int code;
  const char* name;
};
constexpr ReportedEvent reportedEvents[] = {
    {strings::tGSlogMigrationMc1, 400, "tGSlogMigrationMc1"},
    {strings::tGSlogMigrationMc2, 401, "tGSlogMigrationMc2"},
    {strings::tGSlogMigrationMc3, 402, "tGSlogMigrationMc3"},
};

void sendEventSignal(int pid, strings::stringtoken event) {
  framework::Container::queueSignal(pid, eventSignal, static_cast<int>(event));
}

}  // namespace

const strings::stringtoken AppManager::m_eventsOfInterest[] = {
    strings::token<"goingDown">, strings::token<"killNonEssentialProcesses">,
    strings::tGSlogMigration,    strings::tGSlogMigrationMc1,
    strings::tGSlogMigrationMc2, strings::tGSlogMigrationMc3,
    strings::tGSendOfList,
};

bool AppManager::serviceEvent(strings::stringtoken event, const void* data) {
  const auto* text = static_cast<const char*>(data);
  LogWarning("SERVICE EVENT: %s - %s", StringRepository::toString(event),
             text == nullptr ? "-" : text);
  if (event == strings::token<"goingDown">) announceGoingDown(text);
  if (event == strings::token<"killNonEssentialProcesses">) killNonEssential();
  if (event == strings::tGSlogMigration) {
    LogInfo(
        "AppManager::serviceEvent got tGSlogMigration event MC1: send managed logs CAPI event. ");
  }
  for (const ReportedEvent& reported : reportedEvents) {
    if (event != reported.event) continue;
    reportManagedLogs(reported.code, reported.name);
    return true;
  }
  return false;
}

std::string AppManager::goingDownRefusal(const std::string& text) {
  const AppManager* const manager = getSingleton();
  if (manager == nullptr) return "";
  const std::vector<std::string> names = manager->names();
  const auto begins = [&](const std::string& name) { return text.starts_with(name); };
  if (std::ranges::any_of(names, begins)) return "";
  return "no daemon's name begins " + text + framework::didYouMean(text, names);
}

void AppManager::announceGoingDown(const char* text) {
  if (text == nullptr) return;
  for (unsigned int n = 0; n < m_processes.Length(); ++n) {
    const char* name = m_processes.sorted(n)->getNameString();
    if (std::strncmp(name, text, std::strlen(name)) != 0) continue;
    if (const Claim claimed = Claim::sorted(m_processes, n)) {
      const Process::State from = claimed->getState();
      claimed->setState(Process::GoingDown);
      expectEffect(*claimed, "announced", "event goingDown");
      noteChange(*claimed, from, "is going down");
    }
    m_waiter.signal();
    return;
  }
}

void AppManager::killNonEssential() {
  const utility::StringArray* list = listProperty(strings::pGSkillNonEssential);
  if (list == nullptr) return;
  const framework::CommandBudget oneLimitForAllCommands;
  for (unsigned int i = 0; i < list->Length(); ++i) {
    const std::string name = trimmedName(list->ElementAt(i));
    if (!name.empty()) killOne(name);
  }
}

void AppManager::killOne(const std::string& name) {
  if (Process* process = recordOf(name)) {
    if (isDebugOn()) LogDebug("processindex for nonEssential");
    takeOver(*process, {.by = "event killNonEssentialProcesses"}, false);
    killAll(*process);
    expectEffect(*process, "kill", "event killNonEssentialProcesses");
    noteAsked(*process, "kill", "event killNonEssentialProcesses");
  } else if (isDebugOn()) {
    LogDebug("%s not found in process list; it can not be%33skilled as non-essential", name.c_str(),
             "");
  }
}

// Strangers go by the daemon's name too: where they do not count, its own processes alone are
// killed.
void AppManager::killAll(Process& process) {
  if (!process.isStrict()) return process.control("kill", process.getNameString());
  const std::lock_guard betweenTwoScans(m_processes);
  killInstances(process);
}

void AppManager::reportManagedLogs(int code, const char* event) const {
  const int status = logManagedLogsEvent(code, managedLogsComponent);
  LogInfo("AppManager::serviceEvent %s: sent managed logs CAPI event.  status %d", event, status);
}

void AppManager::propagateServiceEvent(strings::stringtoken daemon,
                                       strings::stringtoken event) const {
  const char* const found = "found process %s, sending to pid: %d";
  if (daemon == strings::tGSsfcbd) {
    const auto portal = ApplicationService::LookupPortalPrefix(daemon);
    if (portal == nullptr) return;
    if (isDebugOn()) LogDebug(found, StringRepository::toString(daemon), portal->getPID());
    sendEventSignal(portal->getPID(), event);
    return;
  }
  const std::lock_guard lock(m_processes);
  for (const Process* process : m_processes.records()) {
    if (process->getName() != daemon) continue;
    const int pid = process->getPid(0);
    // A process that was given the pid since would be ended by the signal.
    if (pid <= 0 || !m_scan.isStill(pid, *process)) return;
    if (isDebugOn()) LogDebug(found, StringRepository::toString(daemon), pid);
    sendEventSignal(pid, event);
    return;
  }
}

void AppManager::doLockTrack() {
  const utility::Duration since = utility::TimeStamp::now() - utility::TimeStamp(m_lockTrackTime);
  if (utility::TimeMeasure::getSeconds(since.Value()) <= lockTrackSeconds) return;
  m_lockTrackTime = utility::TimeMeasure::getTimestamp();
  framework::LockManager* locks = framework::LockManager::getInstance();
  if (locks == nullptr) return;
  if (isDebugOn()) LogDebug("LockTracking - unlock Dead PIDS");
  if (locks->unlockDeadPids() != 0) LogWarning("Possible lock issue");
}

}  // namespace services::app
