// The service of the management interfaces: what it does when the system information or a user
// changes.
#include "app/interfaces/app_InterfaceManager.h"
#include "app/supervision/app_AppManager.h"
#include "host/base/st_StringRepository.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/record/us_User.h"

namespace services::app {

using sysinfo::SysInfo;
using user::User;

namespace {

bool isSmisEnabled(const SysInfo& sysInfo) {
  return sysInfo.getUsmisEnable() || !sysInfo.getSmisDisable();
}

bool isSmisEnabled() {
  const sysinfo::SysInfoReadGuard guard;
  return guard.getObject() != nullptr && isSmisEnabled(*guard.getObject());
}

void suspendSmis(bool suspend) {
  AppManager::setProcessSuspend(cimServer, suspend);
  AppManager::setProcessSuspend(cimCompanion, suspend);
}

void controlSmis(bool (*command)(strings::stringtoken daemon)) {
  command(cimServer);
  command(cimCompanion);
}

// The daemons read their users when they start.
void reloadSmisUsers(const User& changed) {
  if (!changed.getInterfaces().inSet(strings::token<"Smis">) || !isSmisEnabled()) return;
  suspendSmis(false);
  controlSmis(AppManager::restartProcess);
}

}  // namespace

const strings::stringtoken InterfaceManager::m_eventsOfInterest[] = {
    strings::tGSsysInfoChanged,
    strings::tGSuserChanged,
    strings::tGSuserAccessChanged,
    strings::tGSendOfList,
};

bool InterfaceManager::serviceEvent(strings::stringtoken event, const void* data) {
  const char* const operation = __PRETTY_FUNCTION__;
  const auto debug = [&](const char* text) {
    if (isDebugOn()) LogMethodDebug(operation, __LINE__, "%s", text);
  };
  if (isDebugOn()) {
    LogMethodDebug(operation, __LINE__, "SERVICE EVENT: %s",
                   strings::StringRepository::toString(event));
  }
  if (event == strings::tGSsysInfoChanged) {
    debug("sysinfo object changed, see if any thing of interest affected ....");
    // The event's record is the receiver's to clear the flags of.
    if (data != nullptr) sysInfoChanged(*const_cast<SysInfo*>(static_cast<const SysInfo*>(data)));
  }
  if (event == strings::tGSuserChanged || event == strings::tGSuserAccessChanged) {
    debug("user object changed, see if any thing of interest affected ....");
    const auto* changed = static_cast<const User*>(data);
    if (changed == nullptr) return false;
    updateSnmpdConfiguration(nullptr, changed);
    const std::lock_guard turn(m_switchLock);
    if (event == strings::tGSuserAccessChanged) reloadSmisUsers(*changed);
  }
  return false;
}

void InterfaceManager::sysInfoChanged(SysInfo& sysInfo) {
  if (managing(Snmp) && sysInfo.getSnmpChanged()) {
    updateSnmpdConfiguration(&sysInfo, nullptr);
    sysInfo.setSnmpChanged(false);
  }
  if ((managing(Smis) || managing(Usmis)) && sysInfo.getSmisChanged()) {
    applySmisSettings(sysInfo);
    sysInfo.setSmisChanged(false);
  }
}

void InterfaceManager::applySmisSettings(const SysInfo& sysInfo) {
  const std::lock_guard turn(m_switchLock);
  const bool anyUp = isAskedUp(Smis) || isAskedUp(Usmis);
  const SmisChange change = decideSmisChange(isSmisEnabled(sysInfo), anyUp);
  ask(Usmis, sysInfo.getUsmisEnable());
  ask(Smis, !sysInfo.getSmisDisable());
  suspendSmis(change == SmisChange::Stop);
  switch (change) {
    case SmisChange::Start:
      controlSmis(AppManager::startProcess);
      break;
    case SmisChange::Stop:
      controlSmis(AppManager::stopProcess);
      break;
    case SmisChange::Restart:
      controlSmis(AppManager::restartProcess);
      break;
  }
}

}  // namespace services::app
