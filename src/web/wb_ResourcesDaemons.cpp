// The supervised daemons, and how the controllers are paired.
#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>

#include "app/supervision/app_AppManager.h"
#include "host/base/st_StringRepository.h"
#include "util/fw_ShownText.h"
#include "util/ut_TimeMeasure.h"
#include "web/wb_Messages.h"
#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using app::AppManager;
using boost::json::array;
using boost::json::object;
using boost::json::value;

namespace {

constexpr std::int64_t second = 1000000;
constexpr std::int64_t longestSeconds = std::int64_t{366} * 24 * 3600;
constexpr std::size_t longestReason = 80;  // bytes, as the history keeps

bool isThis(const Snapshot& now, const Keys& keys) {
  const ControllerFacts* facts = now.controller(keys[0]);
  return facts != nullptr && facts->isThis;
}

Keys daemons(const Snapshot& now, const Keys& before) {
  Keys names;
  if (isThis(now, before)) {
    for (const app::ProcessView* daemon : now.views()) names.push_back(daemon->name);
  } else if (now.partner) {
    for (const auto& daemon : now.partner->daemons) names.push_back(daemon.name);
  }
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

// As the console shows it to programs, under the same names.
object objectOf(framework::Value::Record record) {
  return boost::json::parse(framework::Value(std::move(record)).json()).as_object();
}

object statusOf(const app::ProcessView& view) {
  const bool isUp = view.state == app::Process::Up && !view.ended;
  const bool isWell = view.markText().empty() && (isUp || view.suspended);
  return status(isUp             ? "Enabled"
                : view.suspended ? "Disabled"
                                 : "UnavailableOffline",
                isWell ? "OK" : "Warning");
}

object ownDaemon(const app::DaemonReport& daemon, const std::string& self) {
  object shown = objectOf(app::recordOf(daemon));
  shown.erase("Name");  // the resource has one of its own
  shown["Status"] = statusOf(daemon.view);
  shown["History"] = link(self + "/History");
  shown["Actions"] = actionsOf(self);
  return shown;
}

// As far as it tells.
object partnersDaemon(const Snapshot& now, const std::string& letter, const std::string& name) {
  const auto& daemon =
      *std::ranges::find(now.partner->daemons, name, &app::PartnerSummary::Daemon::name);
  const bool isHere = now.controller(letter)->isValid;
  const bool isWell = isHere && daemon.failures == 0 && (daemon.state == "Up" || daemon.suspended);
  return {{"Status", status(isHere ? "Enabled" : "UnavailableOffline", isWell ? "OK" : "Warning")},
          {"State", daemon.state},
          {"StateSeconds", daemon.seconds},
          {"Suspended", daemon.suspended},
          {"Failing", daemon.failures},
          {"Restarts", object{{"LastDay", daemon.restarts}}},
          {"AsOf", isoTime(now.partner->received)}};
}

object daemon(const Snapshot& now, const Keys& keys) {
  if (!isThis(now, keys)) return partnersDaemon(now, keys[0], keys[1]);
  return ownDaemon(*now.daemon(keys[1]),
                   "/redfish/v1/Managers/" + keys[0] + "/Oem/Mc/Daemons/" + keys[1]);
}

object history(const Snapshot& now, const Keys&) {
  array entries;
  for (const app::HistoryEntry& entry : now.history) {
    object shown = objectOf(app::recordOf(entry));
    shown.erase("Name");
    entries.push_back(std::move(shown));
  }
  return {{"Entries", std::move(entries)}};
}

// How it stands by this controller's link.
void addStory(const app::PairingStory& story, object& pairing) {
  pairing["FirmwareAction"] = orNull(story.firmwareAction);
  pairing["SettingsAction"] = orNull(story.settingsAction);
  pairing["Explanation"] = array(story.explanation.begin(), story.explanation.end());
  pairing["Stall"] = orNull(story.stall);
  pairing["Remedy"] = orNull(story.remedy);
  pairing["Push"] = orNull(story.push);
  pairing["AsOf"] = isoTime(story.asOf);
}

object pairing(const Snapshot& now, const Keys& keys) {
  const ControllerFacts& facts = *now.controller(keys[0]);
  object shown{{"Role", orNull(facts.isThis ? now.role : now.partnerRole)},
               {"LoadMidplaneSerial", orNull(facts.midplane)},
               {"LastLoadedTime", orNull(facts.lastLoaded)},
               {"LastPairedPartnerSerial", orNull(facts.lastPaired)},
               {"PartnerValid", now.controllers.size() == 2 && now.controllers[0].isValid &&
                                    now.controllers[1].isValid}};
  if (facts.isThis && now.story) addStory(*now.story, shown);
  return shown;
}

std::string askerOf(const Call& call) { return "web, " + call.request.user; }

// Names are known here, so that what is sent makes no token.
strings::stringtoken daemonOf(const Call& call) {
  return strings::GS.toToken(call.keys[1].c_str());
}

http::Response answer(const Call& call, const std::string& what, bool done) {
  call.sources.audit.note(!done, call.request.user, call.request.address, what);
  return done ? http::Response{.status = 204}
              : messageResponse("ChangeRefused", {"process control is off on this controller"});
}

using Operation = bool (*)(strings::stringtoken, const char* by);

bool resumeProcess(strings::stringtoken name, const char* by) {
  AppManager::setProcessSuspend(name, false, by);
  return true;
}

http::Response act(const Call& call, const char* what, Operation operation) {
  if (!call.body.empty()) {
    return messageResponse("ActionParameterUnknown", {what, std::string(call.body.begin()->key())});
  }
  return answer(call, std::string(what) + " daemon " + call.keys[1],
                operation(daemonOf(call), askerOf(call).c_str()));
}

http::Response start(const Call& call) { return act(call, "start", AppManager::startProcess); }
http::Response stop(const Call& call) { return act(call, "stop", AppManager::stopProcess); }
http::Response restart(const Call& call) {
  return act(call, "restart", AppManager::restartProcess);
}
http::Response resume(const Call& call) { return act(call, "resume", resumeProcess); }

// Takes a parameter of the suspension; answers whether it is one, of its type.
bool takeParameter(const std::string& key, const value& given, app::Suspension& suspension) {
  if (key == "Reason" && given.is_string()) {
    suspension.reason = framework::shownText(textOf(given));
    return suspension.reason.size() <= longestReason;
  }
  const auto* seconds = given.if_int64();
  if (key != "Seconds" || seconds == nullptr) return false;
  suspension.until = utility::TimeMeasure::getTimestamp() + *seconds * second;
  return *seconds >= 1 && *seconds <= longestSeconds;
}

http::Response suspend(const Call& call) {
  app::Suspension suspension{.by = askerOf(call), .byOperator = true};
  for (const auto& member : call.body) {
    const std::string key(member.key());
    if (key != "Reason" && key != "Seconds") {
      return messageResponse("ActionParameterUnknown", {"suspend", key});
    }
    if (takeParameter(key, member.value(), suspension)) continue;
    return messageResponse("ActionParameterValueFormatError",
                           {shortText(member.value()), key, "suspend"});
  }
  const bool ends = suspension.until != 0;
  return answer(call,
                "suspend daemon " + call.keys[1] +
                    (ends ? " until " + isoTime(suspension.until) : "") +
                    (suspension.reason.empty() ? "" : ": " + suspension.reason),
                AppManager::suspendProcess(daemonOf(call), suspension));
}

constexpr Resource resources[] = {
    {"/redfish/v1/Managers/{}/Oem/Mc/Daemons/{}", "McDaemon.v1_0_0.McDaemon", "Daemon {}",
     Daemons | Details, daemon, daemons, http::Access::Read, "Daemons"},
    {"/redfish/v1/Managers/{}/Oem/Mc/Daemons/{}/History", "McDaemonHistory.v1_0_0.McDaemonHistory",
     "What happened to it", History, history, nullptr, http::Access::Read, "", false, isThis},
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
