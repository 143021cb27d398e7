// The pairing of the two controllers: deciding their roles and the local controller's actions.
#include <array>

#include "app/pairing/app_BurnToActive.h"
#include "app/pairing/app_SyncRules.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Debug.h"
#include "host/log/fw_Logger.h"
#include "host/service/fw_DebugFlags.h"
#include "sysinfo/manager/si_SysInfoManager.h"

namespace services::app {

using framework::Logger;
using framework::LogType;
using strings::StringRepository;
using sysinfo::MCInfo;
using sysinfo::SysInfo;
using sysinfo::SysInfoManager;
using sysinfo::SysInfoReadGuard;

namespace {

const framework::DebugFlag debugFlag("pairing");

using MacSerial = std::array<char, 32>;

const char* orNull(const char* text) { return text == nullptr ? "NULL" : text; }

const char* textOf(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

MacSerial macSerialOf(const MCInfo& controller) {
  MacSerial serial;
  BurnToActive::makeControllerSN(controller.getMacAddress(), serial.data(), serial.size());
  return serial;
}

void debug(const char* operation, int line, const char* text) {
  if (utility::Debug::isDebugOn(strings::token<"pairing">)) {
    Logger::StaticLogMethod(LogType::Debug, operation, line, "%s", text);
  }
}

void logRoles(const char* operation, int line, LogType type, BurnToActive::SyncRole mine,
              BurnToActive::SyncRole partner) {
  Logger::StaticLogMethod(type, operation, line, "m_mySyncRole: %s, m_partnerSyncRole: %s",
                          StringRepository::toString(mine), StringRepository::toString(partner));
}

RoleDecision logRole(const RoleFacts& facts, const char* operation) {
  Logger::StaticLogMethod(LogType::Info, operation, __LINE__,
                          "Calculate Sync...  currentMidplaneSN: %s, lastPairedMidplaneSN: %s, "
                          "currentPartnerSN: %s, lastPairedPartnerSN: %s",
                          orNull(facts.midplane), orNull(facts.lastMidplane), orNull(facts.partner),
                          orNull(facts.lastPartner));
  const RoleDecision decision = decideRole(facts);
  if (decision.role == BurnToActive::Undetermined) {
    const std::string words = std::string(decision.rule) +
                              ", currentPartnerSN: " + orNull(facts.partner) +
                              ", currentMidplaneSN: " + orNull(facts.midplane);
    debug(operation, __LINE__, words.c_str());
  } else {
    debug(operation, __LINE__, decision.rule);
    Logger::StaticLogMethod(LogType::Info, operation, __LINE__, "SyncRole: %s",
                            StringRepository::toString(decision.role));
  }
  return decision;
}

void logRule(const char* operation, int line, const ActionDecision& decision) {
  if (decision.isDoubtful) {
    Logger::StaticLogMethod(LogType::Warning, operation, line, "%s", decision.rule.c_str());
  } else {
    debug(operation, line, decision.rule.c_str());
  }
}

// Logs where there is no system information or no record of a controller that is needed.
bool isThere(const void* object, const char* what, const char* operation) {
  if (object == nullptr) debug(operation, __LINE__, what);
  return object != nullptr;
}
constexpr const char* noSysInfo = "Invalid SysInfo object!";
constexpr const char* noRecord = "Invalid MCInfo object!";

// When this controller was last loaded. False, and said, where its record is not there.
bool readLoadTime(std::optional<std::string>& time, const char* operation) {
  const SysInfoReadGuard guard;
  const SysInfo* sysInfo = guard.getObject();
  if (!isThere(sysInfo, noSysInfo, operation)) return false;
  const MCInfo* mine = sysInfo->getMyMCInfo();
  if (!isThere(mine, noRecord, operation)) return false;
  if (mine->getLastLoadedTime() != nullptr) time = mine->getLastLoadedTime();
  return true;
}

// Writes this controller's serial number into the partner's record.
void recordWithPartner(SysInfo* sysInfo, bool useMacSerials) {
  if (sysInfo == nullptr) return;
  const MCInfo* mine = sysInfo->getMyMCInfo();
  MCInfo* partner = sysInfo->getOtherMCInfo();
  if (mine == nullptr || partner == nullptr) return;
  partner->setLastPairedPartnerSerial(useMacSerials ? macSerialOf(*mine).data()
                                                    : mine->getControllerSerial());
}

}  // namespace

BurnToActive::SyncRole BurnToActive::calculateSyncRole(const char* currentMidplane,
                                                       const char* lastMidplane,
                                                       const char* currentPartner,
                                                       const char* lastPartner) {
  return logRole({currentMidplane, lastMidplane, currentPartner, lastPartner}, __PRETTY_FUNCTION__)
      .role;
}

BurnToActive::SyncRole BurnToActive::getLocalSyncRole() {
  const Decisions known = decisions();
  if (known.mySyncRole != Undetermined) return known.mySyncRole;
  const SysInfoReadGuard guard;
  SysInfo* sysInfo = guard.getObject();
  if (!isThere(sysInfo, noSysInfo, __PRETTY_FUNCTION__)) return Undetermined;
  MCInfo* mine = sysInfo->getMyMCInfo();
  const MCInfo* partner = sysInfo->getOtherMCInfo();
  if (!isThere(mine, noRecord, __PRETTY_FUNCTION__)) return Undetermined;
  if (!isThere(partner, noRecord, __PRETTY_FUNCTION__)) return Undetermined;
  const MacSerial partnerSerial = macSerialOf(*partner);
  const bool isValid = SysInfoManager::getManager()->isValidPartner();
  const RoleDecision decision =
      logRole({.midplane = sysInfo->getMidplaneSN(),
               .lastMidplane = getMyLoadMidplaneSN(mine),
               .partner = isValid ? partnerSerial.data() : textOf(known.currentPartnerSN),
               .lastPartner = mine->getLastPairedPartnerSerial()},
              __PRETTY_FUNCTION__);
  return keepMySyncRole(decision.role, decision.rule, known.generation);
}

BurnToActive::SyncRole BurnToActive::calculatePartnerSyncRole() {
  const std::uint64_t begun = generation();
  const SysInfoReadGuard guard;
  const SysInfo* sysInfo = guard.getObject();
  if (!SysInfoManager::getManager()->isValidPartner()) {
    debug(__PRETTY_FUNCTION__, __LINE__, "SysInfo not yet synced!");
    return Undetermined;
  }
  if (!isThere(sysInfo, noSysInfo, __PRETTY_FUNCTION__)) return Undetermined;
  Logger::StaticLogMethod(LogType::Info, __PRETTY_FUNCTION__, __LINE__,
                          "Forcing a calculation of the partner sync role.");
  const MCInfo* mine = sysInfo->getMyMCInfo();
  const MCInfo* partner = sysInfo->getOtherMCInfo();
  keepPartnerTimestamp(partner == nullptr ? nullptr : partner->getLastLoadedTime(), begun);
  const MacSerial serial = mine == nullptr ? MacSerial{} : macSerialOf(*mine);
  const char* mySerial = mine == nullptr ? nullptr : serial.data();
  return calculateSyncRole(sysInfo->getMidplaneSN(),
                           partner == nullptr ? nullptr : partner->getLoadMidplaneSerial(),
                           mySerial, mySerial);
}

// Completes what is known by the local role. False, and said, while a role is missing.
bool BurnToActive::findRoles(Decisions& known, const char* operation) {
  if (known.partnerSyncRole != Undetermined && known.mySyncRole == Undetermined) {
    const std::uint64_t begun = known.generation;
    const SyncRole mine = getLocalSyncRole();
    known = decisions();  // what was handed over meanwhile counts
    known.mySyncRole = mine;
    known.generation = begun;
  }
  const char* missing = missingRole(known.mySyncRole, known.partnerSyncRole);
  if (missing != nullptr) debug(operation, __LINE__, missing);
  return missing == nullptr;
}

BurnToActive::SyncAction BurnToActive::getSystemConfigurationSyncAction() {
  Decisions known = decisions();
  if (known.configSyncAction != None) return known.configSyncAction;
  if (!findRoles(known, __PRETTY_FUNCTION__)) return None;
  if (utility::Debug::isDebugOn(strings::token<"pairing">)) {
    logRoles(__PRETTY_FUNCTION__, __LINE__, LogType::Debug, known.mySyncRole,
             known.partnerSyncRole);
  }
  const ActionDecision decision =
      decideConfigAction({.mine = known.mySyncRole,
                          .partner = known.partnerSyncRole,
                          .letter = SysInfoManager::getManager()->getMCNode(),
                          .myTime = nullptr,
                          .partnerTime = nullptr});
  logRule(__PRETTY_FUNCTION__, __LINE__, decision);
  if (!keepConfigSyncAction(decision.action, decision.rule, known.generation)) {
    debug(__PRETTY_FUNCTION__, __LINE__, "Sync Roles reset during Sync Action calculation!");
    return None;
  }
  const sysinfo::SysInfoWriteGuard guard;
  recordWithPartner(guard.getObject(), known.useMacSerials);
  const SyncAction action = decisions().configSyncAction;
  Logger::StaticLogMethod(LogType::Info, __PRETTY_FUNCTION__, __LINE__, "Config action: %s",
                          StringRepository::toString(action));
  return action;
}

BurnToActive::SyncAction BurnToActive::getSystemPfuAction() {
  Decisions known = decisions();
  if (known.pfuSyncAction != None) return known.pfuSyncAction;
  if (!findRoles(known, __PRETTY_FUNCTION__)) return None;
  logRoles(__PRETTY_FUNCTION__, __LINE__, LogType::Info, known.mySyncRole, known.partnerSyncRole);
  std::optional<std::string> myTime;
  if (dependsOnLoadTimes(known.mySyncRole, known.partnerSyncRole)) {
    if (!readLoadTime(myTime, __PRETTY_FUNCTION__)) return None;
    Logger::StaticLogMethod(LogType::Info, __PRETTY_FUNCTION__, __LINE__,
                            "LocalCodeload: %s, PartnerCodeload: %s", orNull(textOf(myTime)),
                            orNull(textOf(known.partnerCodeloadTimestamp)));
  }
  const ActionDecision decision =
      decideFirmwareAction({.mine = known.mySyncRole,
                            .partner = known.partnerSyncRole,
                            .letter = SysInfoManager::getManager()->getMCNode(),
                            .myTime = textOf(myTime),
                            .partnerTime = textOf(known.partnerCodeloadTimestamp)});
  logRule(__PRETTY_FUNCTION__, __LINE__, decision);
  const bool kept = keepPfuSyncAction(decision.action, decision.rule, known.generation);
  if (!kept) {
    Logger::StaticLogMethod(LogType::Warning, __PRETTY_FUNCTION__, __LINE__,
                            "Lost partner information while deciding PFU action.");
  }
  const SyncAction action = kept ? decision.action : None;
  Logger::StaticLogMethod(LogType::Info, __PRETTY_FUNCTION__, __LINE__, "PFU action: %s",
                          StringRepository::toString(action));
  return action;
}

}  // namespace services::app
