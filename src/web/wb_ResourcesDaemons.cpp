// The supervised daemons, and how the controllers are paired.
#include <boost/json/array.hpp>

#include "app/supervision/app_AppManager.h"
#include "host/base/st_StringRepository.h"
#include "web/wb_Messages.h"
#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using app::AppManager;
using boost::json::array;
using boost::json::object;

namespace {

bool isThis(const Snapshot& now, const Keys& keys) {
  const ControllerFacts* facts = now.controller(keys[0]);
  return facts != nullptr && facts->isThis;
}

Keys daemons(const Snapshot& now, const Keys& before) {
  Keys names;
  if (!isThis(now, before)) return names;
  for (const DaemonFacts& facts : now.daemons) names.push_back(facts.name);
  return names;
}

constexpr const char* actions[] = {"Start", "Stop", "Restart", "Suspend", "Resume"};

object actionsOf(const std::string& self) {
  object shown;
  for (const char* action : actions) {
    const std::string name = std::string("McDaemon.").append(action);
    shown[std::string("#").append(name)] =
        object{{"target", std::string(self).append("/Actions/").append(name)}};
  }
  return shown;
}

object daemon(const Snapshot& now, const Keys& keys) {
  const DaemonFacts& facts = *now.daemon(keys[1]);
  return {{"State", facts.state},
          {"StateSeconds", facts.seconds},
          {"Suspended", facts.suspended},
          {"Restarting", facts.restarting},
          {"ProcessIds", array(facts.pids.begin(), facts.pids.end())},
          {"DataKiB", facts.dataKilobytes},
          {"Actions", actionsOf("/redfish/v1/Managers/" + keys[0] + "/Oem/Mc/Daemons/" + keys[1])}};
}

object pairing(const Snapshot& now, const Keys& keys) {
  const ControllerFacts& facts = *now.controller(keys[0]);
  return {{"Role", orNull(facts.isThis ? now.role : now.partnerRole)},
          {"LoadMidplaneSerial", orNull(facts.midplane)},
          {"LastLoadedTime", orNull(facts.lastLoaded)},
          {"LastPairedPartnerSerial", orNull(facts.lastPaired)},
          {"PartnerValid", now.controllers.size() == 2 && now.controllers[0].isValid &&
                               now.controllers[1].isValid}};
}

// Answers whether it was done; names are known here, so that what is sent makes no token.
using Operation = bool (*)(strings::stringtoken);

template <bool suspended>
bool setSuspend(strings::stringtoken name) {
  AppManager::setProcessSuspend(name, suspended);
  return true;
}

http::Response act(const Call& call, const char* what, Operation operation) {
  if (!call.body.empty()) {
    return messageResponse("ActionParameterUnknown", {what, std::string(call.body.begin()->key())});
  }
  const bool done = operation(strings::GS.toToken(call.keys[1].c_str()));
  call.sources.audit.note(!done, call.request.user, call.request.address,
                          std::string(what) + " daemon " + call.keys[1]);
  return done ? http::Response{.status = 204}
              : messageResponse("ChangeRefused", {"process control is off on this controller"});
}

http::Response start(const Call& call) { return act(call, "start", AppManager::startProcess); }
http::Response stop(const Call& call) { return act(call, "stop", AppManager::stopProcess); }
http::Response restart(const Call& call) {
  return act(call, "restart", AppManager::restartProcess);
}
http::Response suspend(const Call& call) { return act(call, "suspend", setSuspend<true>); }
http::Response resume(const Call& call) { return act(call, "resume", setSuspend<false>); }

constexpr Resource resources[] = {
    {"/redfish/v1/Managers/{}/Oem/Mc/Daemons/{}", "McDaemon.v1_0_0.McDaemon", "Daemon {}", Daemons,
     daemon, daemons, http::Access::Read, "Daemons"},
    {"/redfish/v1/Managers/{}/Oem/Mc/Pairing", "McPairing.v1_0_0.McPairing", "Pairing", Pairing,
     pairing},
};

constexpr Change changes[] = {
    {"POST", "/redfish/v1/Managers/{}/Oem/Mc/Daemons/{}/Actions/McDaemon.Start",
     http::Access::Operate, Daemons, start},
    {"POST", "/redfish/v1/Managers/{}/Oem/Mc/Daemons/{}/Actions/McDaemon.Stop",
     http::Access::Operate, Daemons, stop},
    {"POST", "/redfish/v1/Managers/{}/Oem/Mc/Daemons/{}/Actions/McDaemon.Restart",
     http::Access::Operate, Daemons, restart},
    {"POST", "/redfish/v1/Managers/{}/Oem/Mc/Daemons/{}/Actions/McDaemon.Suspend",
     http::Access::Operate, Daemons, suspend},
    {"POST", "/redfish/v1/Managers/{}/Oem/Mc/Daemons/{}/Actions/McDaemon.Resume",
     http::Access::Operate, Daemons, resume},
};

}  // namespace

std::span<const Resource> daemonResources() { return resources; }
std::span<const Change> daemonChanges() { return changes; }

}  // namespace services::web
