// The console commands over what daemons have left with the host: locks, portals, reports.
#include <array>

#include "host/base/fw_Entrance.h"
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_Console.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/console/fw_HostCommands.h"
#include "host/service/ap_ApplicationService.h"
#include "host/service/fw_LockManager.h"
#include "host/service/fw_ManagedLogs.h"
#include "util/ut_TimeMeasure.h"

namespace framework {

namespace {

using services::app::ApplicationService;
using utility::Arguments;

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
  const std::uint64_t taking = LockManager::getInstance()->take(name, console.getPeer());
  if (taking == 0) {
    console.reply(Refused, "lock %s is held; see: lock list\n", name.c_str());
    return 1;
  }
  console.atClose("lock " + name,
                  [name, taking] { LockManager::getInstance()->endTaking(name, taking); });
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
  const std::string daemon = name;
  const auto portal = ApplicationService::registerPortal(daemon, console.getPeer());
  console.atClose("portal " + daemon,
                  [daemon, portal] { ApplicationService::unregisterPortal(daemon, portal); });
  console.reply(Ok, "portal of %s registered\n", name);
  return 1;
}

int listHolders(Console& console, const std::vector<std::pair<std::string, int>>& holders) {
  TableRows rows;
  for (const auto& [name, pid] : holders) rows.push_back({name, std::to_string(pid)});
  writeTable(console.output(), {{"NAME", "Name"}, {"PID", "ProcessId", Cell::Number}}, rows);
  return 1;
}

int listLocks(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  return listHolders(console, LockManager::getInstance()->list());
}

int listPortals(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  return listHolders(console, ApplicationService::listPortals());
}

int listReports(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  ListingStream* const records = recordsAskedOf(console.output());
  TableRows rows;
  for (const ManagedLogsReport& report : managedLogsReports()) {
    if (records != nullptr) {
      records->addRecord({{"Time", timeValue(report.time)},
                          {"Code", report.code},
                          {"Component", report.component}});
      continue;
    }
    std::array<char, 64> time;
    utility::TimeMeasure::printTimestamp(report.time, time.data(), static_cast<int>(time.size()));
    rows.push_back({time.data(), std::to_string(report.code), std::to_string(report.component)});
  }
  writeTable(console.output(), {{"TIME", ""}, {"CODE", ""}, {"COMPONENT", ""}}, rows);
  return 1;
}

}  // namespace

void registerRegistryCommands(Shell& shell) {
  registerCommands(
      shell,
      {
          {takeLock,
           commandOf<"lock", "take">(
               "LockTake", "lock take: take a named lock until this client disconnects.\n",
               "lock take NAME\n")},
          {releaseLock,
           commandOf<"lock", "release">("LockRelease", "lock release: give a named lock back.\n",
                                        "lock release NAME\n")},
          {listLocks,
           commandOf<"lock", "list">(
               "LockList", "lock list: list the locks and the processes that hold them.\n",
               "lock list\n")},
          {registerPortal, commandOf<"portal", "register">(
                               "PortalRegister",
                               "portal register: make this client's process a daemon's portal "
                               "until it disconnects.\n",
                               "portal register NAME\n")},
          {listPortals,
           commandOf<"portal", "list">(
               "PortalList", "portal list: list the daemons that have a portal, and its process.\n",
               "portal list\n")},
          {listReports,
           commandOf<"managedlogs", "list">(
               "ManagedLogsList", "managedlogs list: list the latest managed-logs reports.\n",
               "managedlogs list\n")},
      });
}

}  // namespace framework
