// The operator's commands over the process supervision: "process list", "process wakes", "process
// history [NAME]", "process show|logs|start|stop|restart|resume|explain NAME", "process suspend
// NAME [for TIME] [REASON...]", "why NAME" and "support bundle FILE".
#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <optional>
#include <string>

#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_DaemonReport.h"
#include "host/base/st_StringRepository.h"
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/console/fw_Nearest.h"
#include "host/service/fw_ServiceFactory.h"
#include "ops/op_DaemonLogs.h"
#include "ops/op_KeptSuspensions.h"
#include "ops/op_SupportBundle.h"
#include "util/ut_TimeMeasure.h"

namespace services::ops {

namespace {

using app::AppManager;
using app::FailingDaemon;
using app::HistoryEntry;
using app::Process;
using app::ProcessView;
using framework::commandOf;
using framework::Console;
using framework::Ok;
using framework::Refused;
using strings::stringtoken;
using utility::Arguments;

std::vector<std::string> rowOf(const ProcessView& daemon) {
  std::string pids;
  for (const int pid : daemon.pids) pids += (pids.empty() ? "" : ",") + std::to_string(pid);
  return {daemon.name,
          daemon.stateText(),
          daemon.suspended ? "yes" : "no",
          pids,
          daemon.state == Process::Unclassified ? "" : std::to_string(daemon.seconds),
          std::to_string(daemon.generation),
          daemon.markText(),
          daemon.commandText()};
}

const framework::Columns listColumns = {{"NAME", ""}, {"STATE", ""},       {"SUSPENDED", ""},
                                        {"PIDS", ""}, {"SECONDS", ""},     {"GENERATION", ""},
                                        {"MARK", ""}, {"LAST COMMAND", ""}};

// The daemons as a table or, where they are asked for, as records.
void listDaemons(Console& console, const AppManager& manager) {
  framework::TableRows rows;
  if (auto* records = framework::recordsAskedOf(console.output())) {
    const auto now = utility::TimeMeasure::getTimestamp();
    for (const ProcessView& daemon : manager.views()) {
      records->addRecord(app::recordOf(app::reportOf(daemon, manager.history(), now)));
    }
    return;
  }
  for (const ProcessView& daemon : manager.views()) rows.push_back(rowOf(daemon));
  framework::writeTable(console.output(), listColumns, rows);
}

// Who asks at this console.
std::string askerAt(const Console& console) {
  return "console, process " + std::to_string(console.getPeer());
}

// The token of a daemon's name. The table is asked, so that what is typed makes no token.
std::optional<stringtoken> findDaemon(const AppManager& manager, const char* name) {
  const std::vector<std::string> names = manager.names();
  if (std::ranges::find(names, name) == names.end()) return std::nullopt;
  return strings::GS.toToken(name);
}

std::vector<std::string> daemonNames(unsigned int place) {
  const AppManager* manager = AppManager::getSingleton();
  return place > 0 || manager == nullptr ? std::vector<std::string>() : manager->names();
}

const AppManager* managerOrReply(Console& console) {
  return framework::runningOrReply<AppManager>(console, "process supervision");
}

int list(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  const AppManager* manager = managerOrReply(console);
  if (manager == nullptr) return 1;
  if (!manager->isProcessControlOn()) {
    console.output().PutS("process control is off here (see MC_ARCH): no daemon is restarted\n");
  }
  for (const FailingDaemon& failing : AppManager::failingDaemons()) {
    console.output().PutF("%s is failing: restarted %u times in %d minutes\n", failing.name.c_str(),
                          failing.restarts, manager->flapMinutes());
  }
  if (const std::string both = AppManager::failingOnBoth(); !both.empty()) {
    console.output().PutF("%s\n", both.c_str());
  }
  listDaemons(console, *manager);
  return 1;
}

// Does `work` with the daemon that the arguments name, or replies why not.
template <typename Work>
int withDaemon(Console& console, const Arguments& arguments, const Work& work,
               unsigned int mostArguments = 1) {
  if (arguments.ArgCount() == 0 || arguments.ArgCount() > mostArguments) return 0;
  const AppManager* manager = managerOrReply(console);
  if (manager == nullptr) return 1;
  const char* name = arguments.ArgValue(0);
  if (const auto daemon = findDaemon(*manager, name)) {
    work(*daemon, name);
  } else {
    console.reply(Refused, "no such process: %s%s\n", name,
                  framework::didYouMean(name, daemonNames(0)).c_str());
  }
  return 1;
}

using Operation = bool (*)(stringtoken, const char* by);

bool control(Console& console, const char* action, const char* name, bool issued) {
  if (issued) {
    console.reply(Ok, "%s of %s issued\n", action, name);
  } else {
    console.reply(Refused, "%s of %s refused: process control is off here (see MC_ARCH)\n", action,
                  name);
  }
  return issued;
}

int stop(Console& console, const Arguments& arguments) {
  return withDaemon(console, arguments, [&](stringtoken daemon, const char* name) {
    if (!control(console, "stop", name, AppManager::stopProcess(daemon, askerAt(console).c_str())))
      return;
    if (AppManager::getProcessSuspend(daemon)) return;
    console.reply(Ok, "it will be started again; to keep it down: process suspend %s\n", name);
  });
}

int explain(Console& console, const Arguments& arguments) {
  return withDaemon(console, arguments, [&](stringtoken daemon, const char*) {
    AppManager::getSingleton()->explainProcess(daemon, console.output());
  });
}

int show(Console& console, const Arguments& arguments) {
  return withDaemon(console, arguments, [&](stringtoken daemon, const char* name) {
    const AppManager& manager = *AppManager::getSingleton();
    auto* records = framework::recordsAskedOf(console.output());
    if (records == nullptr) return manager.showProcess(daemon, console.output());
    for (const ProcessView& view : manager.views(name)) {
      auto report = app::reportOf(view, manager.history(), utility::TimeMeasure::getTimestamp());
      report.why = app::whyLines(view);
      records->addRecord(app::recordOf(report));
    }
  });
}

std::vector<std::string> rowOf(const HistoryEntry& entry) {
  std::array<char, 32> time;
  constexpr auto toText = strings::StringRepository::toString;
  return {utility::TimeMeasure::printTimestamp(entry.at, time.data(), time.size()),
          entry.daemon,
          toText(entry.from),
          toText(entry.to),
          entry.secondsDown < 0 ? "" : std::to_string(entry.secondsDown),
          entry.what,
          entry.cause,
          entry.outcome};
}

void writeHistory(Console& console, const std::string& daemon) {
  framework::ListingStream* const records = framework::recordsAskedOf(console.output());
  framework::TableRows rows;
  for (const HistoryEntry& entry : AppManager::getSingleton()->history().entries(daemon)) {
    records == nullptr ? rows.push_back(rowOf(entry)) : records->addRecord(app::recordOf(entry));
  }
  const framework::Columns columns = {{"TIME", ""}, {"NAME", ""}, {"FROM", ""},  {"TO", ""},
                                      {"DOWN", ""}, {"WHAT", ""}, {"CAUSE", ""}, {"OUTCOME", ""}};
  framework::writeTable(console.output(), columns, rows);
}

int history(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) {
    return withDaemon(console, arguments,
                      [&](stringtoken, const char* name) { writeHistory(console, name); });
  }
  if (managerOrReply(console) != nullptr) writeHistory(console, "");
  return 1;
}

int logs(Console& console, const Arguments& arguments) {
  return withDaemon(console, arguments,
                    [&](stringtoken, const char* name) { showDaemonLogs(console, name); });
}

int why(Console& console, const Arguments& arguments) {
  return withDaemon(console, arguments, [&](stringtoken daemon, const char*) {
    AppManager::getSingleton()->whyProcess(daemon, console.output());
  });
}

int issue(Console& console, const Arguments& arguments, const char* action, Operation operation) {
  return withDaemon(console, arguments, [&](stringtoken daemon, const char* name) {
    control(console, action, name, operation(daemon, askerAt(console).c_str()));
  });
}

int start(Console& console, const Arguments& arguments) {
  return issue(console, arguments, "start", AppManager::startProcess);
}

int restart(Console& console, const Arguments& arguments) {
  return issue(console, arguments, "restart", AppManager::restartProcess);
}

// The seconds of "90", "90s", "10m", "2h" or "1d", at most 30 days.
std::optional<std::int64_t> secondsOf(const std::string& text) {
  constexpr struct {
    const char* unit;
    std::int64_t seconds;
  } units[] = {{"", 1}, {"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}};
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const std::string unit(end, text.data() + text.size());
  for (const auto& known : units) {
    if (error != std::errc() || unit != known.unit) continue;
    constexpr std::int64_t most = 30 * std::int64_t{86400};
    if (number > 0 && number <= most / known.seconds) return number * known.seconds;
  }
  return std::nullopt;
}

std::string wordsFrom(const Arguments& arguments, unsigned int first) {
  std::string words;
  for (unsigned int i = first; i < arguments.ArgCount(); ++i) {
    words += (words.empty() ? "" : " ") + std::string(arguments.ArgValue(i));
  }
  return words;
}

// Of one that another start of the host would not know.
void tellUnkept(Console& console) {
  const std::string problem = KeptSuspensions::instance().problem();
  if (!problem.empty())
    console.reply(Ok, "but not over a restart of the host: %s\n", problem.c_str());
}

int suspend(Console& console, const Arguments& arguments) {
  const auto work = [&](stringtoken daemon, const char* name) {
    app::Suspension wanted{.by = askerAt(console), .byOperator = true};
    const bool ends = arguments.ArgCount() > 1 && std::strcmp(arguments.ArgValue(1), "for") == 0;
    if (ends) {
      const auto seconds = secondsOf(arguments.ArgCount() > 2 ? arguments.ArgValue(2) : "");
      if (!seconds) {
        console.reply(Refused, "for: must be a time such as 90s, 10m, 2h or 1d, at most 30d\n");
        return;
      }
      wanted.until = utility::TimeMeasure::getTimestamp() + *seconds * 1000000;
    }
    wanted.reason = wordsFrom(arguments, ends ? 3 : 1);
    AppManager::suspendProcess(daemon, wanted, arguments.ArgCount() > 1);
    console.reply(Ok, "%s suspended%s%s\n", name, ends ? " for " : "",
                  ends ? arguments.ArgValue(2) : "");
    tellUnkept(console);
  };
  return withDaemon(console, arguments, work, 32);
}

int resume(Console& console, const Arguments& arguments) {
  return withDaemon(console, arguments, [&](stringtoken daemon, const char* name) {
    AppManager::setProcessSuspend(daemon, false, askerAt(console).c_str());
    console.reply(Ok, "%s resumed\n", name);
    tellUnkept(console);
  });
}

int wakes(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  const AppManager* manager = managerOrReply(console);
  if (manager == nullptr) return 1;
  const auto counts = manager->wakeTimes();
  framework::TableRows rows;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const auto& bounds = utility::ExitWatch::bounds;
    const std::string within =
        i < bounds.size() ? std::to_string(bounds[i] / 1000) + " ms" : "longer";
    rows.push_back({within, std::to_string(counts[i])});
  }
  framework::writeTable(console.output(),
                        {{"WITHIN", "Within"}, {"SCANS", "Scans", framework::Cell::Number}}, rows);
  return 1;
}

const std::vector<framework::TableCommand> commands = {
    {list, commandOf<"process", "list">(
               "ProcessList", "process list: list the supervised daemons.\n", "process list\n")},
    {start, commandOf<"process", "start">(
                "ProcessStart", "process start: run a daemon's init script to start it.\n",
                "process start NAME\n", nullptr, daemonNames)},
    {stop, commandOf<"process", "stop">("ProcessStop",
                                        "process stop: run a daemon's init script to stop it.\n",
                                        "process stop NAME\n", nullptr, daemonNames)},
    {restart, commandOf<"process", "restart">(
                  "ProcessRestart", "process restart: run a daemon's init script to restart it.\n",
                  "process restart NAME\n", nullptr, daemonNames)},
    {suspend, commandOf<"process", "suspend">(
                  "ProcessSuspend", "process suspend: leave a daemon down once it is down.\n",
                  "process suspend NAME [for TIME] [REASON...]\n", nullptr, daemonNames)},
    {resume, commandOf<"process", "resume">(
                 "ProcessResume", "process resume: start a daemon again when it is down.\n",
                 "process resume NAME\n", nullptr, daemonNames)},
    {explain, commandOf<"process", "explain">(
                  "ProcessExplain",
                  "process explain: show which processes are taken for a daemon, and why.\n",
                  "process explain NAME\n", nullptr, daemonNames)},
    {show,
     commandOf<"process", "show">("ProcessShow", "process show: show what is known of a daemon.\n",
                                  "process show NAME\n", nullptr, daemonNames)},
    {history, commandOf<"process", "history">(
                  "ProcessHistory",
                  "process history: list what happened to a daemon or to all, the latest last.\n",
                  "process history [NAME]\n", nullptr, daemonNames)},
    {logs, commandOf<"process", "logs">(
               "ProcessLogs", "process logs: show the logs that a daemon's crash mail gathers.\n",
               "process logs NAME\n", nullptr, daemonNames)},
    {why, commandOf<"why">("Why",
                           "why: show which rule decides for a daemon, and what would change it.\n",
                           "why NAME\n", nullptr, daemonNames)},
    {wakes, commandOf<"process", "wakes">(
                "ProcessWakes",
                "process wakes: show how soon scans followed the ends that called for them.\n",
                "process wakes\n")},
    {supportBundle, commandOf<"support", "bundle">(
                        "SupportBundle",
                        "support bundle: write what the maker needs to look into a fault to a new "
                        "file, without secrets.\n",
                        "support bundle FILE\n")},
};

// Suspends again what was suspended when the host ended, long before the first restart.
class ProcessCommands : public framework::CommandTable<"ProcessCommands", "mcops", commands> {
 public:
  using CommandTable::CommandTable;
  static framework::Service* build(const char* name) { return new ProcessCommands(name); }
  void Startup() override {
    if (AppManager* manager = AppManager::getSingleton())
      KeptSuspensions::instance().restore(*manager);
  }
};

const framework::ServiceFactory factory(ProcessCommands::build, "ProcessCommands");

}  // namespace

}  // namespace services::ops
