// The supervision service: the monitor thread and its poll cycle.
#include <algorithm>

#include "app/supervision/app_AppManager.h"
#include "host/base/fw_Container.h"
#include "host/base/fw_Guarded.h"
#include "host/base/st_StringRepository.h"
#include "host/service/fw_Watchdog.h"
#include "util/ut_BufferStream.h"
#include "util/ut_TimeMeasure.h"
#include "util/ut_TimeStamp.h"

namespace services::app {

using strings::StringRepository;
using utility::TimeMeasure;

namespace {

constexpr int startUpSeconds = 120;
constexpr int shortWaitSeconds = 2;
constexpr int processTrackSeconds = 299;
constexpr int errorBoundSeconds = 29;

std::int64_t secondsSince(std::int64_t timestamp) {
  return TimeMeasure::getSeconds(TimeMeasure::getTimestamp() - timestamp);
}

}  // namespace

void AppManager::threadDo(int index) {
  if (index == 0) {
    watchProcesses();
  } else {
    watchHealth();
  }
}

void AppManager::watchProcesses() {
  const Clock threadStart = TimeMeasure::getTimestamp();
  framework::Watchdog::begin("the poll cycle", std::max(m_pollSeconds, shortWaitSeconds));
  while (!requestToShutdown()) {
    framework::Watchdog::beat();
    const Clock cycleStart = TimeMeasure::getTimestamp();
    m_cycleBegan = cycleStart;
    framework::guarded(getNameString(), "poll cycle", [&] { pollCycle(threadStart); });
    m_cycleTimes.add(TimeMeasure::getTimestamp() - cycleStart);
    sleepUntilNextCycle(cycleStart);
  }
  framework::Watchdog::end();
}

std::int64_t AppManager::sinceCycleBegan() const {
  const Clock began = m_cycleBegan;
  return began == 0 ? 0 : TimeMeasure::getTimestamp() - began;
}

void AppManager::pollCycle(Clock threadStart) {
  const framework::CommandBudget oneLimitForAllCommands;
  m_nextWait = m_pollSeconds;
  m_mailPatience = mailPatience;
  doMemTrack();
  endStartUpPeriod(threadStart);
  endSuspensions();
  if (m_processes.Length() > 0) scanAndDecide();
  writeFlight();
  noteOutcomes();
  doProcessTrack();
  boundErrorOutput();
  if (m_doLockTrack) doLockTrack();
}

void AppManager::endStartUpPeriod(Clock threadStart) {
  if (!m_startUpPeriod || secondsSince(threadStart) <= startUpSeconds) return;
  m_startUpPeriod = false;
  m_doRestarts = true;
}

void AppManager::scanAndDecide() {
  const std::lock_guard lock(m_processes);
  if (m_watch != nullptr) m_watch->lookBegins();
  for (Process* process : m_processes.records()) process->startScan();
  m_scan.run();
  for (Process* process : m_processes.records()) endScan(*process);
  for (unsigned int i = 0; i < m_processes.Length(); ++i) statePass(i);
  forgetSteady();
  if (m_watch != nullptr) m_watch->setTicking(isAnyStarting());
  if (!isDebugOn()) return;
  m_scan.logPatternTimes();
  LogDebug("done monitoring processes");
}

// A start that comes up, and one that ends again, is then seen within the tick.
bool AppManager::isAnyStarting() const {
  const auto starting = [](const Process* process) {
    return process->getState() == Process::Starting;
  };
  return std::ranges::any_of(m_processes.records(), starting);
}

void AppManager::endScan(Process& process) {
  if (process.hasNewcomers()) judgeNewcomers(process);
  if (process.endScan()) noteReplaced(process);
  tellImpostor(process);
}

StateFacts AppManager::factsOf(const Process& process) const {
  return {
      .state = process.getState(),
      .stateSeconds = process.getStateTime(),
      .hasInstances = process.numInstances() > 0,
      .suspended = process.getSuspend(),
      .restarting = process.getRestarting(),
      .newGeneration = process.isNewGeneration(),
      .processControl = m_doProcessControl,
      .startUpPeriod = m_startUpPeriod,
      .noKillSeconds = m_noKillSeconds,
  };
}

void AppManager::statePass(unsigned int index) {
  Process& process = *m_processes.records()[index];
  bool again = true;
  while (again) {
    if (isDebugOn()) {
      std::array<char, 256> pids;
      LogDebug("process %s [%s] %s %s", process.getNameString(),
               process.getInstanceInfo(pids.data(), pids.size()),
               StringRepository::toString(process.getState()),
               process.getSuspend() ? "suspended" : "");
    }
    const StateFacts facts = factsOf(process);
    const StateRule* const rule = decidingRule(facts);
    record(index, facts, rule);
    if (rule == nullptr) return;
    applyAction(process, *rule);
    again = rule->action.again;
  }
}

void AppManager::applyAction(Process& process, const StateRule& rule) {
  const StateAction& action = rule.action;
  if (action.considerRestart && isDebugOn()) {
    LogDebug("should we restart %s", process.getNameString());
  }
  if (action.kill) killInstances(process);
  if (action.restart) restartDown(process);
  if (action.enter) {
    const Process::State from = process.getState();
    process.setState(*action.enter);
    noteChange(process, from, rule.text);
  }
  if (action.clearRestarting) process.setRestarting(false);
  if (action.soon) m_nextWait = shortWaitSeconds;
}

void AppManager::restartDown(Process& process) {
  LogInfo("%s: Restarting %s", getNameString(), process.getNameString());
  if (m_doCrashMail) {
    // A report that fails must not keep the daemon down.
    if (mayMail(process)) {
      framework::guarded(getNameString(), "crash mail", [&] { sendMail(process.getNameString()); });
    }
    writeCrashEvent(process.getNameString());
  }
  process.start();
}

void AppManager::writeCrashEvent(const char* daemon) {
  if (m_crashEvents == nullptr) return;
  if (!m_crashEvents->isOutputStreamOpen()) openCrashEvents();
  std::array<char, 64> time;
  TimeMeasure::printTimestamp(TimeMeasure::getTimestamp(), time.data(), time.size());
  std::array<char, 256> text;
  utility::BufferStream line(text.data(), text.size(), false);
  line.PutF("%s: %s down, restarted\n", time.data(), daemon);
  m_crashEvents->SendOutputStream(line.pTail(), static_cast<unsigned int>(line.ReadAvailable()));
}

void AppManager::killInstances(const Process& process) const {
  if (isDebugOn()) LogDebug("%s going down, took too long, killing it", process.getNameString());
  const auto count = static_cast<unsigned int>(process.numInstances());
  for (unsigned int i = 0; i < count; ++i) killInstance(process, i);
}

void AppManager::killInstance(const Process& process, unsigned int index) const {
  const int pid = process.getPid(index);
  if (pid <= 0) {
    LogError("%s: Invalid PID reached, %d for %s (%u of %d)...", getNameString(), pid,
             process.getNameString(), index, process.numInstances());
    return;
  }
  if (!m_scan.isStill(pid, process)) return;  // it ended while commands ran before this one
  LogWarning("%s: %s (%d) is still up, killing it ...", getNameString(), process.getNameString(),
             pid);
  std::array<char, 64> text;
  utility::BufferStream command(text.data(), text.size(), false);
  command.PutF("kill -9 %d", pid);
  if (isDebugOn()) LogDebug("%s", command.pTail());
  framework::Container::spawnFor(command.pTail(), framework::Container::Fault::Status);
}

void AppManager::doProcessTrack() {
  const utility::Duration since =
      utility::TimeStamp::now() - utility::TimeStamp(m_lastProcessTrack);
  if (TimeMeasure::getSeconds(since.Value()) <= processTrackSeconds) return;
  m_lastProcessTrack = TimeMeasure::getTimestamp();
  for (Process* process : m_processes.records()) process->updateInfo();
  std::array<char, 8192> text;
  utility::BufferStream report(text.data(), text.size(), true);
  report.PutC('\n');
  information(report, 0, false);
  LogInfoS(report.pTail());
  if (m_doMemLimitChecking) doMemLimitChecking();
}

// What daemons write to the standard error that their init scripts left them stays in memory.
void AppManager::boundErrorOutput() {
  if (secondsSince(m_errorsBounded) <= errorBoundSeconds) return;
  m_errorsBounded = TimeMeasure::getTimestamp();
  for (const Process* process : m_processes.records()) {
    const auto count = static_cast<unsigned int>(process->numInstances());
    for (unsigned int k = 0; k < count; ++k) {
      framework::Container::boundErrorOutput(process->getPid(k));
    }
  }
}

void AppManager::sleepUntilNextCycle(Clock cycleStart) {
  const auto spent = static_cast<int>(secondsSince(cycleStart));
  const std::lock_guard lock(m_waiter);
  m_waiter.wait(spent < m_nextWait ? m_nextWait - spent : m_nextWait);
}

}  // namespace services::app
