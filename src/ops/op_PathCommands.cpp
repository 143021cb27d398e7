// The operator's commands over the network paths to the partner.
#include "ops/op_PathCommands.h"

#include <array>
#include <string>

#include "app/app_NetTracker.h"
#include "host/framework/fw_CommandHandler.h"
#include "host/framework/fw_Console.h"
#include "host/framework/fw_ConsoleTable.h"
#include "host/framework/fw_ServiceFactory.h"
#include "host/framework/fw_Shell.h"
#include "host/sysinfo/nw_NetworkManager.h"

namespace services::ops {

namespace {

using framework::CommandHandler;
using framework::Console;
using strings::stringtoken;

framework::Service* BuildPathCommands(const char* name) { return new PathCommands(name); }
const framework::ServiceFactory pFactoryPathCommands(BuildPathCommands, "PathCommands");

constexpr std::array<stringtoken, 2> showPath = {strings::tGSpath, strings::tGSshow};
const CommandHandler::commanddata showData = {"PathShow",
                                              "path show: show the network paths to the partner.\n",
                                              "path show\n", showPath.size(), showPath.data()};

// The address of a host name, empty where the hosts table lacks it.
std::string addressOf(const char* hostName) {
  std::array<char, 64> address{};
  network::NetworkManager::getHosts(address.data(), address.size(), hostName);
  return address.data();
}

// Which path the partner's name follows.
std::string followed(const std::string& partner, const std::string& outer,
                     const std::string& inner) {
  if (partner.empty()) return "";
  if (partner == outer) return "follows outer";
  return partner == inner ? "follows inner" : "follows neither";
}

int show(Console& console, const utility::Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  const app::NetTracker* tracker = app::NetTracker::getSingleton();
  if (tracker == nullptr) {
    console.reply(framework::Refused, "no path tracker runs in this host\n");
    return 1;
  }
  const std::string outer = addressOf("othermcouter");
  const std::string inner = addressOf("othermcinner");
  const std::string partner = addressOf("othermc");
  framework::writeTable(console.output(),
                        {{"HOST", "ADDRESS", "STATE"},
                         {"othermcouter", outer, tracker->isOuterPathUp() ? "up" : "down"},
                         {"othermcinner", inner, tracker->isInnerPathUp() ? "up" : "down"},
                         {"othermc", partner, followed(partner, outer, inner)}});
  return 1;
}

const framework::ServiceInfo info = {strings::tGSPathCommands, strings::tGSPathCommands,
                                     strings::tGSoperatorClass};

}  // namespace

const framework::ServiceInfo* PathCommands::serviceInfo() const { return &info; }

void PathCommands::initializeCommands(framework::Shell& shell) {
  shell.registerCommand(new framework::FunctionCommand(showData, show));
}

}  // namespace services::ops
