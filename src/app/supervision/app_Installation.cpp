// What of the daemons is installed on this machine.
#include "app/supervision/app_Installation.h"

#include <algorithm>

#include "app/supervision/app_DaemonEntry.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Environment.h"
#include "host/base/ut_Path.h"
#include "host/service/fw_Config.h"

namespace services::app {

using framework::PlacedWarning;
using utility::Path;

namespace {

// Daemons that are part of an installation only when their program is.
struct OptionalDaemon {
  const char* name;
  const char* program;
};
constexpr OptionalDaemon optionalDaemons[] = {
    {"snmpd", "/opt/bin/snmpd"},
    {"sfcbd", "/opt/sbin/sfcbd"},
    {"slpd", "/opt/sbin/slpd"},
    {"web", "/app/bin/web"},
};

constexpr const char* mailRelayProgram = "/sbin/sendmail";

// The names of a list property, by the place of their entry; empty for blank ones and no list.
std::vector<std::string> namesOf(const framework::Config& config, const char* instance,
                                 const char* key) {
  std::vector<std::string> names;
  const auto* list =
      config.propertyAsStringArray(framework::Config::concatName(instance, key, false));
  for (unsigned int i = 0; list != nullptr && i < list->Length(); ++i) {
    names.push_back(DaemonEntry(list->ElementAt(i)).name);
  }
  return names;
}

bool isProcessControlOn() {
  const char* architecture = utility::Environment::GetEnv("MC_ARCH");
  return architecture != nullptr && std::string(architecture) != "PC";
}

std::string quoted(const std::string& name) { return "\"" + name + "\": "; }

std::string complaintOf(const std::string& daemon) {
  const std::string script = initScriptOf(daemon);
  if (const char* program = missingProgramOf(daemon)) {
    return std::string("starts suspended, since ") + program + " is not there";
  }
  if (!Path::isFile(script.c_str())) return "its init script " + script + " is not there";
  if (!Path::isExecutable(script.c_str())) return "its init script " + script + " cannot be run";
  return "";
}

// Settings of one daemon, "daemon.NAME.KEY", that nothing comes of.
void checkDaemonTables(const framework::Config& config, const std::string& instance,
                       const std::vector<std::string>& daemons,
                       std::vector<PlacedWarning>& warnings) {
  const std::string tables = instance + ".daemon.";
  for (const auto& [full, property] : config.all()) {
    if (!full.starts_with(tables)) continue;
    const std::size_t nameEnd = full.rfind('.');
    const std::string name = full.substr(tables.size(), nameEnd - tables.size());
    const std::string key = full.substr(nameEnd + 1);
    const std::string table = tables + name + ".";
    const bool asked = config.find(table + "probe") != nullptr;
    const bool looked = asked || config.find(table + "memoryLimit") != nullptr;
    const char* complaint = nullptr;
    if (key == "probeLimit" && !asked) complaint = "means nothing without a probe";
    if ((key == "probeSeconds" || key == "act") && !looked) {
      complaint = "means nothing without a probe or a memoryLimit";
    }
    if (std::ranges::count(daemons, name) == 0) complaint = "no daemon of the list data";
    if (complaint == nullptr) continue;
    warnings.push_back({full.substr(instance.size() + 1), PlacedWarning::noEntry, complaint});
  }
}

}  // namespace

const char* missingProgramOf(const std::string& daemon) {
  for (const OptionalDaemon& known : optionalDaemons) {
    if (daemon == known.name) return Path::exists(known.program) ? nullptr : known.program;
  }
  return nullptr;
}

std::string initScriptOf(const std::string& daemon) { return "/app/etc/init.d/" + daemon + "S"; }

std::vector<PlacedWarning> checkInstallation(const framework::Config& config,
                                             const char* instance) {
  std::vector<PlacedWarning> warnings;
  const std::vector<std::string> daemons = namesOf(config, instance, strings::pGSdata);
  for (unsigned int i = 0; isProcessControlOn() && i < daemons.size(); ++i) {
    const std::string complaint = daemons[i].empty() ? "" : complaintOf(daemons[i]);
    if (!complaint.empty()) {
      warnings.push_back({strings::pGSdata, i, quoted(daemons[i]) + complaint});
    }
  }
  for (const char* key : {strings::pGSnokill, strings::pGSkillNonEssential}) {
    const std::vector<std::string> names = namesOf(config, instance, key);
    for (unsigned int i = 0; i < names.size(); ++i) {
      if (names[i].empty() || std::ranges::count(daemons, names[i]) > 0) continue;
      warnings.push_back({key, i, quoted(names[i]) + "no daemon of the list " + strings::pGSdata});
    }
  }
  checkDaemonTables(config, instance, daemons, warnings);
  if (Path::exists("/cfg/do.crashmail") && !Path::isExecutable(mailRelayProgram)) {
    warnings.push_back({strings::pGSdata, PlacedWarning::noEntry,
                        std::string("crash mail is on by /cfg/do.crashmail, but ") +
                            mailRelayProgram + " cannot be run"});
  }
  return warnings;
}

}  // namespace services::app
