// The operator's command over the network paths to the partner: "path show".
#include <array>
#include <string>

#include "app/paths/app_NetTracker.h"
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/network/nw_NetworkManager.h"
#include "host/service/fw_ServiceFactory.h"

namespace services::ops {

namespace {

using framework::commandOf;
using framework::Console;

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
  const auto* tracker = framework::runningOrReply<app::NetTracker>(console, "path tracker");
  if (tracker == nullptr) return 1;
  const std::string outer = addressOf("othermcouter");
  const std::string inner = addressOf("othermcinner");
  const std::string partner = addressOf("othermc");
  framework::writeTable(console.output(),
                        {{"HOST", "HostName"}, {"ADDRESS", "Address"}, {"STATE", "State"}},
                        {{"othermcouter", outer, tracker->isOuterPathUp() ? "up" : "down"},
                         {"othermcinner", inner, tracker->isInnerPathUp() ? "up" : "down"},
                         {"othermc", partner, followed(partner, outer, inner)}});
  return 1;
}

const std::vector<framework::TableCommand> commands = {
    {show, commandOf<"path", "show">(
               "PathShow", "path show: show the network paths to the partner.\n", "path show\n")},
};

using PathCommands = framework::CommandTable<"PathCommands", "mcops", commands>;
const framework::ServiceFactory factory(PathCommands::build, "PathCommands");

}  // namespace

}  // namespace services::ops
