// The console commands over what daemons have left with the host: locks, portals, reports.
#include <array>

#include "host/framework/ap_ApplicationService.h"
#include "host/framework/fw_CommandHandler.h"
#include "host/framework/fw_Console.h"
#include "host/framework/fw_ConsoleTable.h"
#include "host/framework/fw_Entrance.h"
#include "host/framework/fw_HostCommands.h"
#include "host/framework/fw_LockManager.h"
#include "host/framework/fw_ManagedLogs.h"
#include "host/framework/fw_Shell.h"
#include "util/ut_TimeMeasure.h"

namespace framework {

namespace {

using services::app::ApplicationService;
using strings::stringtoken;
using utility::Arguments;

constexpr std::array<stringtoken, 2> lockTakePath = {strings::tGSlock, strings::tGStake};
const CommandHandler::commanddata lockTakeData = {
    "LockTake", "lock take: take a named lock until this client disconnects.\n", "lock take NAME\n",
    lockTakePath.size(), lockTakePath.data()};

constexpr std::array<stringtoken, 2> lockReleasePath = {strings::tGSlock, strings::tGSrelease};
const CommandHandler::commanddata lockReleaseData = {
    "LockRelease", "lock release: give a named lock back.\n", "lock release NAME\n",
    lockReleasePath.size(), lockReleasePath.data()};

constexpr std::array<stringtoken, 2> lockListPath = {strings::tGSlock, strings::tGSlist};
const CommandHandler::commanddata lockListData = {
    "LockList", "lock list: list the locks and the processes that hold them.\n", "lock list\n",
    lockListPath.size(), lockListPath.data()};

constexpr std::array<stringtoken, 2> portalRegisterPath = {strings::tGSportal,
                                                           strings::tGSregister};
const CommandHandler::commanddata portalRegisterData = {
    "PortalRegister",
    "portal register: make this client's process a daemon's portal until it disconnects.\n",
    "portal register NAME\n", portalRegisterPath.size(), portalRegisterPath.data()};

constexpr std::array<stringtoken, 2> portalListPath = {strings::tGSportal, strings::tGSlist};
const CommandHandler::commanddata portalListData = {
    "PortalList", "portal list: list the daemons that have a portal, and its process.\n",
    "portal list\n", portalListPath.size(), portalListPath.data()};

constexpr std::array<stringtoken, 2> managedLogsPath = {strings::tGSmanagedlogs, strings::tGSlist};
const CommandHandler::commanddata managedLogsData = {
    "ManagedLogsList", "managedlogs list: list the latest managed-logs reports.\n",
    "managedlogs list\n", managedLogsPath.size(), managedLogsPath.data()};

// Whether the client may hold something of that name; if not, says why.
bool mayHold(Console& console, const char* name) {
  if (!isDaemonName(name)) {
    console.reply(Refused,
                  "no name: %s; it is 1 to 64 letters, digits, \"_\", \"-\" and \".\" and begins "
                  "with none of the last two\n",
                  name);
    return false;
  }
  if (console.getPeer() > 0) return true;
  console.reply(Refused, "this client's process is not known here\n");
  return false;
}

int takeLock(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 1) return 0;
  const std::string name = arguments.ArgValue(0);
  if (!mayHold(console, name.c_str())) return 1;
  const int pid = console.getPeer();
  if (!LockManager::getInstance()->take(name, pid)) {
    console.reply(Refused, "lock %s is held; see: lock list\n", name.c_str());
    return 1;
  }
  console.atClose("lock " + name, [name, pid] { LockManager::getInstance()->release(name, pid); });
  console.reply(Ok, "lock %s taken\n", name.c_str());
  return 1;
}

int releaseLock(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 1) return 0;
  const char* name = arguments.ArgValue(0);
  if (!LockManager::getInstance()->release(name, console.getPeer())) {
    console.reply(Refused, "this process does not hold the lock %s\n", name);
    return 1;
  }
  console.atClose(std::string("lock ") + name, nullptr);
  console.reply(Ok, "lock %s released\n", name);
  return 1;
}

int registerPortal(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 1) return 0;
  const char* name = arguments.ArgValue(0);
  if (!mayHold(console, name)) return 1;
  const int pid = console.getPeer();
  ApplicationService::registerPortal(name, pid);
  const std::string portal = name;
  console.atClose("portal " + portal,
                  [portal, pid] { ApplicationService::unregisterPortal(portal, pid); });
  console.reply(Ok, "portal of %s registered\n", name);
  return 1;
}

int listHolders(Console& console, const Arguments& arguments,
                const std::vector<std::pair<std::string, int>>& holders) {
  if (arguments.ArgCount() > 0) return 0;
  TableRows rows = {{"NAME", "PID"}};
  for (const auto& [name, pid] : holders) rows.push_back({name, std::to_string(pid)});
  writeTable(console.output(), rows);
  return 1;
}

int listReports(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  TableRows rows = {{"TIME", "CODE", "COMPONENT"}};
  for (const ManagedLogsReport& report : managedLogsReports()) {
    std::array<char, 64> time;
    utility::TimeMeasure::printTimestamp(report.time, time.data(), static_cast<int>(time.size()));
    rows.push_back({time.data(), std::to_string(report.code), std::to_string(report.component)});
  }
  writeTable(console.output(), rows);
  return 1;
}

}  // namespace

void registerRegistryCommands(Shell& shell) {
  const auto add = [&shell](const CommandHandler::commanddata& data,
                            FunctionCommand::Function function) {
    shell.registerCommand(new FunctionCommand(data, std::move(function)));
  };
  add(lockTakeData, takeLock);
  add(lockReleaseData, releaseLock);
  add(lockListData, [](Console& console, const Arguments& arguments) {
    return listHolders(console, arguments, LockManager::getInstance()->list());
  });
  add(portalRegisterData, registerPortal);
  add(portalListData, [](Console& console, const Arguments& arguments) {
    return listHolders(console, arguments, ApplicationService::listPortals());
  });
  add(managedLogsData, listReports);
}

}  // namespace framework
