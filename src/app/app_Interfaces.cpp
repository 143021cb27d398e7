// The ten management interfaces as data, and the rules about switching them.
#include "app/app_Interfaces.h"

#include <algorithm>
#include <string>

#include "app/app_DaemonEntry.h"
#include "host/framework/fw_ServiceFactory.h"
#include "host/framework/st_StringRepository.h"
#include "host/sysinfo/si_SysInfo.h"

namespace services::app {

namespace {

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
    {.name = strings::tGSHttp,
     .wanted = isClear<&SysInfo::getHttpDisable>,
     .carrier = Carrier::Listener,
     .listener = "StandardListener",
     .wayBack = true},
    {.name = strings::tGSHttps,
     .wanted = isClear<&SysInfo::getHttpsDisable>,
     .carrier = Carrier::Listener,
     .listener = "SSLListener",
     .wayBack = true},
    {.name = strings::tGSTelnet,
     .wanted = isClear<&SysInfo::getTelnetDisable>,
     .carrier = Carrier::Daemon,
     .daemon = strings::tGStelnetd,
     .wayBack = true},
    {.name = strings::tGSSsh,
     .wanted = isClear<&SysInfo::getSshDisable>,
     .carrier = Carrier::Daemon,
     .daemon = strings::tGSsshd,
     .wayBack = true},
    {.name = strings::tGSSmis,
     .wanted = isClear<&SysInfo::getSmisDisable>,
     .carrier = Carrier::SmisPair},
    {.name = strings::tGSFtp,
     .wanted = isClear<&SysInfo::getFtpDisable>,
     .carrier = Carrier::DaemonNow,
     .daemon = strings::tGSftpd},
    {.name = strings::tGSSnmp,
     .wanted = isClear<&SysInfo::getSnmpDisable>,
     .carrier = Carrier::DaemonNow,
     .daemon = strings::tGSsnmpd},
    {.name = strings::tGSDebug,
     .wanted = isClear<&SysInfo::getDebugDisable>,
     .carrier = Carrier::Console,
     .wayBack = true},
    {.name = strings::tGSUsmis,
     .wanted = isSet<&SysInfo::getUsmisEnable>,
     .carrier = Carrier::SmisPair},
    {.name = strings::tGSActivityProgress,
     .wanted = isClear<&SysInfo::getActivityProgressDisable>,
     .carrier = Carrier::DaemonNow,
     .daemon = strings::tGSactivityd},
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
  return form == strings::tGSSmis ? strings::tGSUsmis : strings::tGSSmis;
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
