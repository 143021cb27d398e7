// The operator's commands over the process supervision.
#include "ops/op_ProcessCommands.h"

#include <array>
#include <cstring>
#include <optional>
#include <string>

#include "app/app_AppManager.h"
#include "app/app_Claim.h"
#include "host/framework/fw_CommandHandler.h"
#include "host/framework/fw_Console.h"
#include "host/framework/fw_ConsoleTable.h"
#include "host/framework/fw_ServiceFactory.h"
#include "host/framework/fw_Shell.h"
#include "host/framework/st_StringRepository.h"

namespace services::ops {

namespace {

using app::AppManager;
using app::Claim;
using app::Process;
using framework::CommandHandler;
using framework::Console;
using framework::Ok;
using framework::Refused;
using strings::stringtoken;
using utility::Arguments;

framework::Service* BuildProcessCommands(const char* name) { return new ProcessCommands(name); }
const framework::ServiceFactory pFactoryProcessCommands(BuildProcessCommands, "ProcessCommands");

constexpr std::array<stringtoken, 2> listPath = {strings::tGSprocess, strings::tGSlist};
const CommandHandler::commanddata listData = {"ProcessList",
                                              "process list: list the supervised daemons.\n",
                                              "process list\n", listPath.size(), listPath.data()};

constexpr std::array<stringtoken, 2> startPath = {strings::tGSprocess, strings::tGSstart};
const CommandHandler::commanddata startData = {
    "ProcessStart", "process start: run a daemon's init script to start it.\n",
    "process start NAME\n", startPath.size(), startPath.data()};

constexpr std::array<stringtoken, 2> stopPath = {strings::tGSprocess, strings::tGSstop};
const CommandHandler::commanddata stopData = {
    "ProcessStop", "process stop: run a daemon's init script to stop it.\n", "process stop NAME\n",
    stopPath.size(), stopPath.data()};

constexpr std::array<stringtoken, 2> restartPath = {strings::tGSprocess, strings::tGSrestart};
const CommandHandler::commanddata restartData = {
    "ProcessRestart", "process restart: run a daemon's init script to restart it.\n",
    "process restart NAME\n", restartPath.size(), restartPath.data()};

constexpr std::array<stringtoken, 2> suspendPath = {strings::tGSprocess, strings::tGSsuspend};
const CommandHandler::commanddata suspendData = {
    "ProcessSuspend", "process suspend: leave a daemon down once it is down.\n",
    "process suspend NAME\n", suspendPath.size(), suspendPath.data()};

constexpr std::array<stringtoken, 2> resumePath = {strings::tGSprocess, strings::tGSresume};
const CommandHandler::commanddata resumeData = {
    "ProcessResume", "process resume: start a daemon again when it is down.\n",
    "process resume NAME\n", resumePath.size(), resumePath.data()};

constexpr std::array<stringtoken, 2> explainPath = {strings::tGSprocess, strings::tGSexplain};
const CommandHandler::commanddata explainData = {
    "ProcessExplain", "process explain: show which processes are taken for a daemon, and why.\n",
    "process explain NAME\n", explainPath.size(), explainPath.data()};

std::vector<std::string> rowOf(const Claim& process) {
  std::array<char, 512> pids{};
  const Process::State state = process->getState();
  return {process->getNameString(), strings::StringRepository::toString(state),
          process->getSuspend() ? "yes" : "no", process->getInstanceInfo(pids.data(), pids.size()),
          state == Process::Unclassified ? "" : std::to_string(process->getStateTime())};
}

// The token of a daemon's name. The table is asked, so that what is typed makes no token.
std::optional<stringtoken> findDaemon(const AppManager& manager, const char* name) {
  for (unsigned int n = 0; n < manager.numProcesses(); ++n) {
    const Claim process = Claim::nth(manager, n);
    if (process && std::strcmp(process->getNameString(), name) == 0) return process->getName();
  }
  return std::nullopt;
}

const AppManager* managerOrReply(Console& console) {
  const AppManager* manager = AppManager::getSingleton();
  if (manager == nullptr) console.reply(Refused, "no process supervision runs in this host\n");
  return manager;
}

int list(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  const AppManager* manager = managerOrReply(console);
  if (manager == nullptr) return 1;
  framework::TableRows rows = {{"NAME", "STATE", "SUSPENDED", "PIDS", "SECONDS"}};
  for (unsigned int n = 0; n < manager->numProcesses(); ++n) {
    const Claim process = Claim::nth(*manager, n);
    if (process) rows.push_back(rowOf(process));
  }
  framework::writeTable(console.output(), rows);
  return 1;
}

// Does `work` with the daemon that the arguments name, or replies why not.
template <typename Work>
int withDaemon(Console& console, const Arguments& arguments, const Work& work) {
  if (arguments.ArgCount() != 1) return 0;
  const AppManager* manager = managerOrReply(console);
  if (manager == nullptr) return 1;
  const char* name = arguments.ArgValue(0);
  if (const auto daemon = findDaemon(*manager, name)) {
    work(*daemon, name);
  } else {
    console.reply(Refused, "no such process: %s\n", name);
  }
  return 1;
}

using Operation = bool (*)(stringtoken);

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
    if (!control(console, "stop", name, AppManager::stopProcess(daemon))) return;
    if (AppManager::getProcessSuspend(daemon)) return;
    console.reply(Ok, "it will be started again; to keep it down: process suspend %s\n", name);
  });
}

int explain(Console& console, const Arguments& arguments) {
  return withDaemon(console, arguments, [&](stringtoken daemon, const char*) {
    AppManager::getSingleton()->explainProcess(daemon, console.output());
  });
}

framework::FunctionCommand::Function issuing(const char* action, Operation operation) {
  return [action, operation](Console& console, const Arguments& arguments) {
    return withDaemon(console, arguments, [&](stringtoken daemon, const char* name) {
      control(console, action, name, operation(daemon));
    });
  };
}

framework::FunctionCommand::Function suspending(bool suspend) {
  return [suspend](Console& console, const Arguments& arguments) {
    return withDaemon(console, arguments, [&](stringtoken daemon, const char* name) {
      AppManager::setProcessSuspend(daemon, suspend);
      console.reply(Ok, "%s %s\n", name, suspend ? "suspended" : "resumed");
    });
  };
}

const framework::ServiceInfo info = {strings::tGSProcessCommands, strings::tGSProcessCommands,
                                     strings::tGSoperatorClass};

}  // namespace

const framework::ServiceInfo* ProcessCommands::serviceInfo() const { return &info; }

void ProcessCommands::initializeCommands(framework::Shell& shell) {
  const auto add = [&shell](const CommandHandler::commanddata& data,
                            framework::FunctionCommand::Function function) {
    shell.registerCommand(new framework::FunctionCommand(data, std::move(function)));
  };
  add(listData, list);
  add(startData, issuing("start", AppManager::startProcess));
  add(stopData, stop);
  add(restartData, issuing("restart", AppManager::restartProcess));
  add(suspendData, suspending(true));
  add(resumeData, suspending(false));
  add(explainData, explain);
}

}  // namespace services::ops
