// The supervision service: what happened to the daemons, and who asked for it.
#include <algorithm>
#include <iterator>

#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_Why.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Environment.h"
#include "host/console/fw_ConsoleTable.h"
#include "util/ut_TimeMeasure.h"

namespace services::app {

using strings::StringRepository;
using utility::TimeMeasure;

namespace {

constexpr std::int64_t second = 1000000;
constexpr std::int64_t effectTime = 60 * second;  // what was asked for earlier causes nothing now
constexpr std::int64_t hour = 3600 * second;
constexpr std::size_t maxFollowed = 256;

std::string timeText(std::int64_t timestamp) {
  std::array<char, 32> text;
  return TimeMeasure::printTimestamp(timestamp, text.data(), text.size());
}

// A time down counts once it is over.
std::string timesDown(const History::Summary& sums, const ProcessView& view) {
  const bool isDown = view.ended || view.state == Process::Down || view.state == Process::Starting;
  if (sums.timesDown == 0) return isDown ? "now, for the first time" : "never";
  return std::to_string(sums.timesDown) + " times, for " +
         std::to_string(sums.secondsDown / sums.timesDown) + " s on average, " +
         std::to_string(sums.worst) + " s at worst";
}

std::string sinceText(const ProcessView& view) {
  if (view.state == Process::Unclassified) return "";
  const std::int64_t since = TimeMeasure::getTimestamp() - view.seconds * second;
  return timeText(since) + ", " + std::to_string(view.seconds) + " s ago";
}

std::string restartsText(const History& history, const std::string& daemon) {
  const std::int64_t now = TimeMeasure::getTimestamp();
  return std::to_string(history.restartsSince(daemon, now - hour)) + " in the last hour, " +
         std::to_string(history.restartsSince(daemon, now - 24 * hour)) + " in the last day, " +
         std::to_string(history.summary(daemon).restarts) + " ever";
}

}  // namespace

std::string ProcessView::stateText() const {
  if (ended) return "Ended";
  return impostor && state == Process::Up ? "Up?" : StringRepository::toString(state);
}

std::string ProcessView::markText() const {
  std::string marks;
  const auto add = [&marks](const std::string& mark) {
    marks += (marks.empty() ? "" : ", ") + mark;
  };
  if (failures > 0) add("FAILING " + std::to_string(failures) + "x");
  if (impostor) add("STRANGER");
  if (health.failures >= HealthCount::limit) add("ILL " + std::to_string(health.failures) + "x");
  for (const std::string& condition : conditions) add(condition);
  return marks;
}

std::string ProcessView::commandText() const {
  if (lastCommand == nullptr) return "";
  return lastCommand->action() + ": " + lastCommand->outcome().text();
}

std::string AppManager::historyPath() const {
  const char* directory = utility::Environment::GetEnv("MC_LOG_DIR");
  return directory == nullptr || *directory == '\0' ? ""
                                                    : std::string(directory) + "/daemon.history";
}

std::vector<std::string> AppManager::names() const {
  std::vector<std::string> names;
  for (const Process* process : m_processes.records()) {
    names.emplace_back(process->getNameString());
  }
  return names;
}

ProcessView AppManager::glanceAt(const Process& process) {
  return {.name = process.getNameString(),
          .state = process.getState(),
          .suspended = process.getSuspend(),
          .restarting = process.getRestarting(),
          .dataKilobytes = process.getDataSize(),
          .codeKilobytes = process.getCodeSize(),
          .sharedKilobytes = process.getSharedSize(),
          .seconds = process.getStateTime(),
          .generation = process.generation(),
          .impostor = process.isImpostor()};
}

ProcessView AppManager::viewOf(const Process& process) const {
  ProcessView view = glanceAt(process);
  view.suspension = suspensionOf(process);
  view.failures = failures(process);
  view.health = healthOf(process);
  view.lastCommand = process.lastCommand();
  view.facts = factsOf(process);
  const auto count = static_cast<unsigned int>(process.numInstances());
  for (unsigned int i = 0; i < count; ++i) {
    const int pid = process.getPid(i);
    if (m_scan.isStill(pid, process)) view.pids.push_back(pid);
  }
  std::vector<int> told = view.pids;
  std::ranges::copy(m_scan.remainsOf(process), std::back_inserter(told));
  for (const int pid : told) {
    const std::string condition = conditionOf(pid);
    if (!condition.empty()) view.conditions.push_back(condition);
  }
  view.ended = view.state == Process::Up && view.pids.empty();
  return view;
}

std::vector<ProcessView> AppManager::views(std::string_view only) const {
  std::vector<ProcessView> views;
  const std::lock_guard betweenTwoScans(m_processes);
  for (unsigned int n = 0; n < m_processes.Length(); ++n) {
    const Process& process = *m_processes.sorted(n);
    if (only.empty() || only == process.getNameString()) views.push_back(viewOf(process));
  }
  return views;
}

std::vector<ProcessView> AppManager::glances() const {
  std::vector<ProcessView> glances;
  const std::lock_guard betweenTwoScans(m_processes);
  for (unsigned int n = 0; n < m_processes.Length(); ++n) {
    glances.push_back(glanceAt(*m_processes.sorted(n)));
  }
  return glances;
}

void AppManager::showProcess(strings::stringtoken name, utility::PutStream& stream) const {
  const Process* process = m_processes.find(name);
  if (process == nullptr) return;
  std::unique_lock betweenTwoScans(m_processes);
  const ProcessView view = viewOf(*process);
  betweenTwoScans.unlock();
  framework::TableRows rows;
  rows.push_back({"state", view.stateText() + (view.suspended ? ", suspended" : "")});
  rows.push_back({"since", sinceText(view)});
  rows.push_back({"next", nextStep(view.facts)});
  rows.push_back({"generation", std::to_string(view.generation)});
  rows.push_back({"restarts", restartsText(m_history, view.name)});
  rows.push_back({"down", timesDown(m_history.summary(view.name), view)});
  rows.push_back({"health", view.health.text()});
  rows.push_back({"mark", view.markText()});
  rows.push_back({"last command", view.commandText()});
  framework::writeTable(stream, {{"WHAT", "What"}, {"VALUE", "Value"}}, rows);
}

std::string AppManager::causeOf(const Process& process, Process::State from, Process::State to) {
  using enum Process::State;
  if (to == Starting) return "it was down for more than 5 s";
  if (from == Starting) return to == Up ? "supervision started it" : "no process within 30 s";
  if (from == GoingDown && to == Down) return "no process of it is left";
  if (from == GoingDown) return to == Up ? "others started it" : "it did not end in time";
  std::string asked = askedCause(process, to);
  if (!asked.empty()) return asked;
  if (from == Unclassified) return to == Up ? "the first scan found it" : "no scan found it";
  if (to == Up) return "others started it";
  return "process " + std::to_string(process.lastPid()) + " is gone";
}

// What was asked for shortly before a change is taken for its cause, once.
std::string AppManager::askedCause(const Process& process, Process::State to) {
  const std::lock_guard lock(m_askedLock);
  const auto found = m_asked.find(&process);
  if (found == m_asked.end()) return "";
  const Asked asked = found->second;
  const bool late = TimeMeasure::getTimestamp() - asked.at > effectTime;
  const bool hasEffect =
      to == Process::Up ? asked.what == "start" || asked.what == "restart" : asked.what != "start";
  if (late || (hasEffect && (to == Process::Up || asked.what != "restart"))) m_asked.erase(found);
  return late || !hasEffect ? "" : asked.what + ", " + asked.by;
}

bool AppManager::isStartAwaited(const Process& process) const {
  const std::lock_guard lock(m_askedLock);
  const auto asked = m_asked.find(&process);
  if (asked == m_asked.end() || TimeMeasure::getTimestamp() - asked->second.at > effectTime) {
    return false;
  }
  return asked->second.what == "start" || asked->second.what == "restart";
}

void AppManager::noteCommand(const Process& process, const std::string& action,
                             const std::string& by) {
  expectEffect(process, action, by);
  noteAsked(process, action, by);
  follow(process, action);
}

void AppManager::expectEffect(const Process& process, const std::string& action,
                              const std::string& by) {
  const std::lock_guard lock(m_askedLock);
  m_asked[&process] = {action, by, TimeMeasure::getTimestamp()};
}

void AppManager::noteChange(const Process& process, Process::State from, const char* rule) {
  const Process::State to = process.getState();
  m_historyFile.add({.daemon = process.getNameString(),
                     .at = TimeMeasure::getTimestamp(),
                     .from = from,
                     .to = to,
                     .restart = to == Process::Starting,
                     .what = rule,
                     .cause = causeOf(process, from, to)});
  if (to != Process::Starting) return;
  follow(process, rule);
  noteRestart(process);
}

void AppManager::noteAsked(const Process& process, const std::string& action, const std::string& by,
                           bool ofItsOwn) {
  recordCommand(process, action, by);
  m_historyFile.add({.daemon = process.getNameString(),
                     .at = TimeMeasure::getTimestamp(),
                     .from = process.getState(),
                     .to = process.getState(),
                     .restart = ofItsOwn,
                     .what = action,
                     .cause = by});
}

void AppManager::noteReplaced(const Process& process) {
  if (process.getState() != Process::Up) return;
  m_historyFile.add({.daemon = process.getNameString(),
                     .at = TimeMeasure::getTimestamp(),
                     .from = Process::Up,
                     .to = Process::Up,
                     .what = "was replaced between two scans",
                     .cause = causeOf(process, Process::Down, Process::Up)});
}

void AppManager::follow(const Process& process, const std::string& what) {
  const std::lock_guard lock(m_askedLock);
  if (m_followed.size() == maxFollowed) m_followed.erase(m_followed.begin());
  m_followed.push_back({process.getNameString(), what, process.lastCommand()});
}

void AppManager::noteOutcomes() {
  const std::lock_guard lock(m_askedLock);
  std::erase_if(m_followed, [this](const Followed& one) {
    if (!one.command->isEnded()) return false;
    m_historyFile.setOutcome(one.daemon, one.what, one.command->outcome().text());
    return true;
  });
}

}  // namespace services::app
