// What happens on the controller: messages of the registry, with what they are about.
#include "web/wb_Happenings.h"

#include <algorithm>

#include "app/supervision/app_History.h"
#include "app/supervision/app_ProcessView.h"
#include "app/supervision/app_memtrack.h"
#include "host/base/st_StringRepository.h"
#include "host/log/fw_Logger.h"

namespace services::web {

using app::FailingDaemon;
using app::HistoryEntry;
using app::Process;
using strings::StringRepository;

namespace {

void addInterfaces(const Snapshot& before, const Snapshot& now, std::vector<Happening>& all) {
  for (const InterfaceFacts& interface : now.interfaces) {
    const InterfaceFacts* earlier = before.interface(interface.name);
    if (earlier == nullptr || earlier->up == interface.up) continue;
    all.push_back({"InterfaceChanged",
                   {interface.name, interface.up ? "up" : "down"},
                   managerPath(now.letter) + "/NetworkProtocol"});
  }
}

void addPath(const char* name, bool before, bool now, const std::string& manager,
             std::vector<Happening>& all) {
  if (before == now) return;
  all.push_back(
      {"PathChanged", {name, now ? "up" : "down"}, manager + "/EthernetInterfaces/" + name});
}

void addControllers(const Snapshot& before, const Snapshot& now, std::vector<Happening>& all) {
  for (const ControllerFacts& controller : now.controllers) {
    const ControllerFacts* earlier = before.controller(controller.letter);
    if (earlier == nullptr || earlier->isValid == controller.isValid) continue;
    all.push_back({"ControllerChanged",
                   {controller.letter, controller.isValid ? "known" : "not known any more"},
                   managerPath(controller.letter[0])});
  }
}

void addRole(const Snapshot& before, const Snapshot& now, std::vector<Happening>& all) {
  if (before.role == now.role) return;
  all.push_back(
      {"PairingRoleChanged", {now.role, before.role}, managerPath(now.letter) + "/Oem/Mc/Pairing"});
}

// Those of `some` that are not among `others`.
std::vector<FailingDaemon> without(std::vector<FailingDaemon> some,
                                   const std::vector<FailingDaemon>& others) {
  std::erase_if(some, [&](const FailingDaemon& one) {
    return std::ranges::find(others, one.name, &FailingDaemon::name) != others.end();
  });
  return some;
}

std::string daemonPath(const std::string& manager, const std::string& daemon) {
  return manager + "/Oem/Mc/Daemons/" + daemon;
}

}  // namespace

std::string managerPath(char letter) { return std::string("/redfish/v1/Managers/") + letter; }

std::vector<Happening> happenings(const Snapshot& before, const Snapshot& now) {
  std::vector<Happening> all;
  const std::string manager = managerPath(now.letter);
  addInterfaces(before, now, all);
  addPath("Inner", before.innerUp, now.innerUp, manager, all);
  addPath("Outer", before.outerUp, now.outerUp, manager, all);
  addControllers(before, now, all);
  addRole(before, now, all);
  for (Happening& one : all) one.at = now.now;
  return all;
}

Happening happeningOf(const HistoryEntry& entry, const std::string& manager) {
  const std::string to = StringRepository::toString(entry.to);
  const std::string from = StringRepository::toString(entry.from);
  Happening one{"DaemonStateChanged",
                {entry.daemon, to, from, entry.cause},
                daemonPath(manager, entry.daemon),
                entry.at};
  if (entry.restart) {
    one.message = "DaemonRestarted";
  } else if (entry.from == entry.to) {
    one.message = "DaemonNoted";
    one.arguments[2] = entry.what;
  } else if (entry.to == Process::Down) {
    one.message = "DaemonDown";
  }
  return one;
}

std::vector<Happening> flapping(const std::vector<FailingDaemon>& before,
                                const std::vector<FailingDaemon>& now, const std::string& manager,
                                std::int64_t at) {
  std::vector<Happening> all;
  for (const FailingDaemon& one : without(now, before)) {
    all.push_back({"DaemonFailing",
                   {one.name, std::to_string(one.restarts)},
                   daemonPath(manager, one.name),
                   at});
  }
  for (const FailingDaemon& one : without(before, now)) {
    all.push_back({"DaemonSteady", {one.name}, daemonPath(manager, one.name), at});
  }
  return all;
}

Happening happeningOf(const app::memtrack_& sample, std::int64_t at) {
  Happening one{"MemorySampled", {}, "/redfish/v1/TelemetryService/MetricReports/Memory", at};
  for (const int number : {sample.totalBytes, sample.usedBytes, sample.freeBytes, sample.extraBytes,
                           sample.sysBytesFree, sample.sysPercentFree}) {
    one.arguments.push_back(std::to_string(number));
  }
  return one;
}

Happening happeningOf(const RecentLines::Line& line, const std::string& manager) {
  const char* message = line.type == framework::LogType::Error     ? "LogError"
                        : line.type == framework::LogType::Warning ? "LogWarning"
                                                                   : "LogInfo";
  return {message,
          {line.text},
          manager + "/LogServices/Log/Entries/" + std::to_string(line.number),
          line.time};
}

}  // namespace services::web
