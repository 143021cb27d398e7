// The supervision service: whether daemons that run also work, on a thread of its own.
#include <algorithm>

#include "app/supervision/app_AppManager.h"
#include "host/base/fw_Guarded.h"
#include "host/base/fw_ProcessMem.h"
#include "host/service/fw_Config.h"
#include "util/fw_Exception.h"
#include "util/ut_TimeMeasure.h"

namespace services::app {

using utility::TimeMeasure;

namespace {

constexpr std::int64_t second = 1000000;

unsigned int dataOf(int pid) {
  try {
    return framework::ProcessMem(pid).getSummaryData().getAllDataTouchedTotal();
  } catch (framework::Exception* gone) {
    delete gone;
    return 0;
  }
}

std::string memoryProblem(const Process& process, unsigned int limit) {
  unsigned int data = 0;
  const auto count = static_cast<unsigned int>(process.numInstances());
  for (unsigned int i = 0; i < count; ++i) data += dataOf(process.getPid(i));
  if (data <= limit) return "";
  return "data " + std::to_string(data) + " kB, above its limit of " + std::to_string(limit);
}

}  // namespace

void AppManager::addHealthCheck(const Process& process) {
  const framework::Config& config = *framework::Config::getConfig(0, nullptr);
  const std::string table = std::string("daemon.") + process.getNameString() + ".";
  const auto number = [&](const char* key, int otherwise) {
    config.getIntValueOf(m_instanceName.get(), (table + key).c_str(), false, &otherwise);
    return otherwise;
  };
  HealthCheck check = {.process = &process};
  const char* probe = nullptr;
  config.getStringValueOf(m_instanceName.get(), (table + "probe").c_str(), false, &probe);
  if (probe != nullptr) check.probe = Probe::parse(probe);
  check.memoryLimit = static_cast<unsigned int>(number("memoryLimit", 0));
  if (!check.probe && check.memoryLimit == 0) return;
  check.period = number("probeSeconds", 30);
  check.limit = number("probeLimit", 5);
  config.getBoolValueOf(m_instanceName.get(), (table + "act").c_str(), false, &check.acts);
  m_health.push_back(std::move(check));
}

void AppManager::watchHealth() {
  while (!requestToShutdown()) {
    framework::guarded(getNameString(), "health", [this] { lookAtHealth(); });
    const std::lock_guard lock(m_healthWaiter);
    if (!requestToShutdown()) m_healthWaiter.wait(secondsToNextLook());
  }
}

void AppManager::lookAtHealth() {
  for (HealthCheck& check : m_health) {
    const Clock now = TimeMeasure::getTimestamp();
    if (requestToShutdown() || now < check.next) continue;
    check.next = now + check.period * second;
    lookAt(check);
  }
}

int AppManager::secondsToNextLook() const {
  const Clock next = std::ranges::min_element(m_health, {}, &HealthCheck::next)->next;
  const Clock left = next - TimeMeasure::getTimestamp();
  return static_cast<int>(std::max<Clock>(1, (left + second - 1) / second));
}

// One that comes up, goes down or is left alone is not asked, and its answer counts for nothing.
bool AppManager::isLookedAt(const Process& process) const {
  const auto last = process.lastCommand();
  const bool stopping = last != nullptr && last->action() == "stop" && !last->isEnded();
  return !m_startUpPeriod && process.getState() == Process::Up && !process.getSuspend() &&
         !process.getRestarting() && !stopping;
}

std::string AppManager::problemOf(const HealthCheck& check) const {
  if (check.probe) {
    const std::string problem =
        check.probe->ask(check.limit, [this] { return requestToShutdown(); });
    if (!problem.empty()) return check.probe->text() + ": " + problem;
  }
  return check.memoryLimit == 0 ? "" : memoryProblem(*check.process, check.memoryLimit);
}

void AppManager::lookAt(HealthCheck& check) {
  const Process& process = *check.process;
  const unsigned int generation = process.generation();
  if (!isLookedAt(process)) return;
  const std::string problem = problemOf(check);
  if (requestToShutdown() || !isLookedAt(process) || process.generation() != generation) return;
  const bool acts = check.acts && m_doProcessControl;
  HealthCount::Step step = HealthCount::Step::None;
  {
    const std::lock_guard lock(m_healthLock);
    step = check.count.note(!problem.empty(), generation, acts);
    check.problem = problem;
    check.answered = TimeMeasure::getTimestamp();
  }
  applyHealth(step, process, problem);
}

void AppManager::applyHealth(HealthCount::Step step, const Process& process,
                             const std::string& problem) {
  const char* const name = process.getNameString();
  switch (step) {
    case HealthCount::Step::None:
      return;
    case HealthCount::Step::Well:
      LogInfo("%s: %s is well again", getNameString(), name);
      return;
    case HealthCount::Step::Ill:
      LogWarning("%s: %s is ill: %s", getNameString(), name, problem.c_str());
      m_historyFile.add({.daemon = name,
                         .at = TimeMeasure::getTimestamp(),
                         .from = process.getState(),
                         .to = process.getState(),
                         .what = "is ill",
                         .cause = problem});
      return;
    case HealthCount::Step::Stop:
      stopIll(process, problem);
  }
}

// Whoever suspends the daemon claims its record, too, and so comes before this or after.
void AppManager::stopIll(const Process& process, const std::string& problem) {
  const Claim claimed(m_processes, process.getName());
  if (!claimed || !isLookedAt(process)) return;
  LogError("%s: %s is ill and is stopped: %s", getNameString(), process.getNameString(),
           problem.c_str());
  claimed->stop();
  noteCommand(*claimed, "stop", "ill: " + problem);
}

HealthView AppManager::healthOf(const Process& process) const {
  const auto check = std::ranges::find(m_health, &process, &HealthCheck::process);
  if (check == m_health.end()) return {};
  const unsigned int generation = process.generation();
  const std::lock_guard lock(m_healthLock);
  return {.asked = true,
          .acts = check->acts,
          .failures = check->count.failures(generation),
          .answered = check->answered,
          .problem = check->problem};
}

std::string HealthView::text() const {
  if (!asked) return "";
  if (answered == 0) return "not asked yet";
  const std::int64_t age = utility::TimeMeasure::getTimestamp() - answered;
  const std::string ago = std::to_string(TimeMeasure::getSeconds(age)) + " s ago";
  if (problem.empty()) return "well, " + ago;
  const std::string row = failures == 0 ? "" : ", " + std::to_string(failures) + " times in a row";
  return problem + ", " + ago + row + (acts ? "" : ", which is only told");
}

// A process that only counts for what it was, or that does nothing, as it is shown.
std::string AppManager::conditionOf(int pid) {
  const auto condition = utility::ProcessDirectory::condition(pid);
  if (!condition) return "";
  const char* word = nullptr;
  if (condition->state == 'T') word = "STOPPED ";
  if (condition->state == 't') word = "TRACED ";
  if (condition->state == 'Z') word = condition->threads > 1 ? "MAIN THREAD ENDED " : "ZOMBIE ";
  return word == nullptr ? "" : word + std::to_string(pid);
}

}  // namespace services::app
