// The ten management interfaces as data, and the rules about switching them.
#include "app/interfaces/app_Interfaces.h"

#include <algorithm>
#include <string>

#include "app/supervision/app_DaemonEntry.h"
#include "host/base/st_StringRepository.h"
#include "host/service/fw_ServiceFactory.h"
#include "sysinfo/record/si_SysInfo.h"

namespace services::app {

namespace {

const strings::Words interfaceWords = {"slpd"};

using strings::StringRepository;
using sysinfo::SysInfo;

template <bool (SysInfo::*flag)() const>
bool isSet(const SysInfo& sysInfo) {
  return (sysInfo.*flag)();
}
template <bool (SysInfo::*flag)() const>
bool isClear(const SysInfo& sysInfo) {
  return !(sysInfo.*flag)();
}

constexpr ManagementInterface interfaces[] = {
    {.name = strings::token<"Http">,
     .wanted = isClear<&SysInfo::getHttpDisable>,
     .carrier = Carrier::Listener,
     .listener = "StandardListener",
     .wayBack = true},
    {.name = strings::token<"Https">,
     .wanted = isClear<&SysInfo::getHttpsDisable>,
     .carrier = Carrier::Listener,
     .listener = "SSLListener",
     .wayBack = true},
    {.name = strings::token<"Telnet">,
     .wanted = isClear<&SysInfo::getTelnetDisable>,
     .carrier = Carrier::Daemon,
     .daemon = strings::token<"telnetd">,
     .wayBack = true},
    {.name = strings::token<"Ssh">,
     .wanted = isClear<&SysInfo::getSshDisable>,
     .carrier = Carrier::Daemon,
     .daemon = strings::token<"sshd">,
     .wayBack = true},
    {.name = strings::token<"Smis">,
     .wanted = isClear<&SysInfo::getSmisDisable>,
     .carrier = Carrier::SmisPair},
    {.name = strings::token<"Ftp">,
     .wanted = isClear<&SysInfo::getFtpDisable>,
     .carrier = Carrier::DaemonNow,
     .daemon = strings::token<"ftpd">},
    {.name = strings::token<"Snmp">,
     .wanted = isClear<&SysInfo::getSnmpDisable>,
     .carrier = Carrier::DaemonNow,
     .daemon = strings::token<"snmpd">},
    {.name = strings::token<"Debug">,
     .wanted = isClear<&SysInfo::getDebugDisable>,
     .carrier = Carrier::Console,
     .wayBack = true},
    {.name = strings::token<"Usmis">,
     .wanted = isSet<&SysInfo::getUsmisEnable>,
     .carrier = Carrier::SmisPair},
    {.name = strings::token<"ActivityProgress">,
     .wanted = isClear<&SysInfo::getActivityProgressDisable>,
     .carrier = Carrier::DaemonNow,
     .daemon = strings::token<"activityd">},
};

std::string namesOfAll() {
  std::string names;
  for (const ManagementInterface& known : interfaces) {
    if (!names.empty()) names += ", ";
    names += StringRepository::toString(known.name);
  }
  return names;
}

bool isOpen(const WayBack& way) { return way.daemon && way.managed ? way.askedUp : way.seenUp; }

}  // namespace

std::span<const ManagementInterface> managementInterfaces() { return interfaces; }

const ManagementInterface* findInterface(strings::stringtoken name) {
  const auto* const found =
      std::find_if(std::begin(interfaces), std::end(interfaces),
                   [name](const ManagementInterface& known) { return known.name == name; });
  return found == std::end(interfaces) ? nullptr : found;
}

void checkInterfaceName(const char* entry, std::vector<framework::PropertyFinding>& findings) {
  const std::string name = trimmedName(entry);
  if (name.empty() || findInterface(strings::GS.toToken(name.c_str())) != nullptr) return;
  findings.push_back({false, "\"" + name + "\": an interface is one of " + namesOfAll()});
}

strings::stringtoken otherSmisForm(strings::stringtoken form) {
  return form == strings::token<"Smis"> ? strings::token<"Usmis"> : strings::token<"Smis">;
}

SmisChange decideSmisChange(bool enabled, bool anyUp) {
  if (!enabled) return SmisChange::Stop;
  return anyUp ? SmisChange::Restart : SmisChange::Start;
}

bool isShutOut(std::span<const WayBack> ways) {
  const auto managed = [](const WayBack& way) { return way.managed; };
  return std::any_of(ways.begin(), ways.end(), managed) &&
         std::none_of(ways.begin(), ways.end(), isOpen);
}

}  // namespace services::app
