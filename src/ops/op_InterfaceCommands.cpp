// The operator's commands over the management interfaces: "interface list" and "interface up|down".
#include <cstring>

#include "app/interfaces/app_InterfaceManager.h"
#include "host/base/st_StringRepository.h"
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/service/fw_ServiceFactory.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/manager/si_Untold.h"

namespace services::ops {

namespace {

using app::Carrier;
using app::InterfaceManager;
using app::ManagementInterface;
using framework::Cell;
using framework::commandOf;
using framework::Console;
using framework::Ok;
using framework::Refused;
using utility::Arguments;

const char* nameOf(const ManagementInterface& interface) {
  return strings::StringRepository::toString(interface.name);
}

InterfaceManager::Interfaces memberOf(const ManagementInterface& interface) {
  return static_cast<InterfaceManager::Interfaces>(interface.name);
}

const char* stateText(bool up) { return up ? "up" : "down"; }

const InterfaceManager* managerOrReply(Console& console) {
  return framework::runningOrReply<InterfaceManager>(console, "interface service");
}

std::vector<std::string> interfaceNames(unsigned int place) {
  std::vector<std::string> names;
  for (const ManagementInterface& interface : app::managementInterfaces()) {
    if (place == 0) names.emplace_back(nameOf(interface));
  }
  return names;
}

// By text, so that what is typed makes no token.
const ManagementInterface* findOrReply(Console& console, const char* name) {
  for (const ManagementInterface& interface : app::managementInterfaces()) {
    if (std::strcmp(nameOf(interface), name) == 0) return &interface;
  }
  std::string names;
  for (const std::string& one : interfaceNames(0)) names += (names.empty() ? "" : ", ") + one;
  console.reply(Refused, "no such interface: %s; it is one of %s\n", name, names.c_str());
  return nullptr;
}

int list(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  const InterfaceManager* manager = managerOrReply(console);
  if (manager == nullptr) return 1;
  const sysinfo::SysInfoReadGuard guard;
  const sysinfo::SysInfo* stored = guard.getObject();
  framework::TableRows rows;
  for (const ManagementInterface& interface : app::managementInterfaces()) {
    const bool managed = manager->managing(memberOf(interface));
    rows.push_back({nameOf(interface), managed ? "yes" : "no",
                    managed ? stateText(InterfaceManager::isUp(memberOf(interface))) : "",
                    managed && stored != nullptr ? stateText(interface.wanted(*stored)) : ""});
  }
  framework::writeTable(console.output(),
                        {{"NAME", "Name"},
                         {"MANAGED", "Managed", Cell::Flag},
                         {"STATE", "Enabled", Cell::Flag},
                         {"NEXT START", "EnabledAtNextStart", Cell::Flag}},
                        rows);
  console.output().PutS(sysinfo::Untold::instance().finding().c_str());
  return 1;
}

const char* refusalOf(Carrier carrier) {
  switch (carrier) {
    case Carrier::Listener:
      return "it cannot listen, which is tried again (the log says why), or there is no web server";
    case Carrier::Console:
      return "there is no console";
    case Carrier::Daemon:
    case Carrier::DaemonNow:
    case Carrier::SmisPair:
      break;
  }
  return "its daemon is not supervised, or process control is off here (see MC_ARCH)";
}

void switchInterface(Console& console, const ManagementInterface& interface, bool up) {
  const char* name = nameOf(interface);
  const char* state = up ? "on" : "off";
  if (!InterfaceManager::setUp(memberOf(interface), up)) {
    console.reply(Refused, "switching %s %s was refused: %s\n", name, state,
                  refusalOf(interface.carrier));
  } else if (interface.carrier == Carrier::Console &&
             InterfaceManager::isUp(memberOf(interface)) != up) {
    console.reply(Refused, "%s stays as it is: a client holds the console\n", name);
  } else {
    console.reply(Ok, "%s switched %s\n", name, state);
  }
}

template <bool up>
int switchTo(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 1) return 0;
  const InterfaceManager* manager = managerOrReply(console);
  if (manager == nullptr) return 1;
  const ManagementInterface* interface = findOrReply(console, arguments.ArgValue(0));
  if (interface == nullptr) return 1;
  if (manager->managing(memberOf(*interface))) {
    switchInterface(console, *interface, up);
  } else {
    console.reply(Refused, "%s is not managed in this host's configuration\n", nameOf(*interface));
  }
  return 1;
}

const std::vector<framework::TableCommand> commands = {
    {list, commandOf<"interface", "list">(
               "InterfaceList",
               "interface list: list the management interfaces and whether they are up.\n",
               "interface list\n")},
    {switchTo<true>,
     commandOf<"interface", "up">(
         "InterfaceUp", "interface up: switch a management interface on until the next start.\n",
         "interface up NAME\n", "Debug", interfaceNames)},
    {switchTo<false>,
     commandOf<"interface", "down">(
         "InterfaceDown",
         "interface down: switch a management interface off until the next start.\n",
         "interface down NAME\n", nullptr, interfaceNames)},
};

using InterfaceCommands = framework::CommandTable<"InterfaceCommands", "mcops", commands>;
const framework::ServiceFactory factory(InterfaceCommands::build, "InterfaceCommands");

}  // namespace

}  // namespace services::ops
