// The pairing of the two controllers: the object, what it keeps, and the pairing records.
#include "app/pairing/app_BurnToActive.h"

#include <array>
#include <atomic>

#include "host/log/fw_Logger.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/record/si_Grammar.h"
#include "util/ut_BufferStream.h"

namespace services::app {

using framework::Memory;

namespace {

const strings::Words pairingWords = {"Undetermined",  "MasterUnpaired", "MasterPaired",
                                     "SlaveUnpaired", "SlavePaired",    "None",
                                     "Push",          "Receive",        "Merge"};

std::optional<std::string> copyOf(const framework::StaticText& text) {
  return text == nullptr ? std::nullopt : std::optional<std::string>(text.get());
}

struct SeedFile {
  const char* path;
  std::atomic<bool> isRefused = false;
};
SeedFile midplaneSeed = {"/cfg/burn2active/MidPlaneSerNum"};
SeedFile loadedTimeSeed = {"/cfg/burn2active/LastLoadedTime"};

// The value in a seed file, or nothing when it has none or one that may not be stored.
std::optional<std::string> readSeed(SeedFile& seed, const sysinfo::Grammar& grammar) {
  const utility::BufferStream file(seed.path);
  if (file.ReadAvailable() <= 0) return std::nullopt;
  std::string value = file.pTail();
  while (value.ends_with('\n')) value.pop_back();
  if (grammar.holds(value.c_str())) return value;
  if (!seed.isRefused.exchange(true)) {  // said once, though it is read again each time
    framework::Logger::StaticLog(framework::LogType::Error, "%s: the value %s", seed.path,
                                 grammar.rule);
  }
  return std::nullopt;
}

}  // namespace

BurnToActive* BurnToActive::m_singletonInstance = nullptr;

BurnToActive* BurnToActive::getInstance() {
  static std::once_flag once;
  std::call_once(once, [] { m_singletonInstance = new BurnToActive; });
  return m_singletonInstance;
}

BurnToActive::BurnToActive() { clearDecisionParameters(); }

void BurnToActive::setCurrentPartnerSN(const char* serial) {
  const std::lock_guard lock(m_lock);
  m_currentPartnerSN.reset(Memory::StaticAllocString(serial));
}

void BurnToActive::setPartnerCodeloadTimestamp(const char* timestamp) {
  const std::lock_guard lock(m_lock);
  m_partnerCodeloadTimestamp.reset(Memory::StaticAllocString(timestamp));
}

void BurnToActive::setUseMacSerials(bool use) {
  const std::lock_guard lock(m_lock);
  m_useMacSerials = use;
}

const char* BurnToActive::getMyLoadMidplaneSN(sysinfo::MCInfo* local) const {
  if (local == nullptr) return nullptr;
  if (local->getLoadMidplaneSerial() != nullptr) return local->getLoadMidplaneSerial();
  if (const auto midplane = readSeed(midplaneSeed, sysinfo::serialGrammar)) {
    local->setLoadMidplaneSerial(midplane->c_str());
  }
  if (const auto time = readSeed(loadedTimeSeed, sysinfo::timestampGrammar)) {
    local->setLastLoadedTime(time->c_str());
  }
  return local->getLoadMidplaneSerial();
}

void BurnToActive::pairLocalControllerToMidplane() {
  const sysinfo::SysInfoWriteGuard guard;
  sysinfo::SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr || sysInfo->getMyMCInfo() == nullptr) return;
  sysInfo->getMyMCInfo()->setLoadMidplaneSerial(sysInfo->getMidplaneSN());
}

void BurnToActive::pairLocalControllerToPartner() {
  const sysinfo::SysInfoWriteGuard guard;
  sysinfo::SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr || sysInfo->getMyMCInfo() == nullptr) return;
  if (const auto partner = partnerToRecord()) {
    sysInfo->getMyMCInfo()->setLastPairedPartnerSerial(partner->c_str());
  }
}

// The partner's serial number in the form in which it is recorded, which is also kept from now on.
std::optional<std::string> BurnToActive::partnerToRecord() {
  const std::lock_guard lock(m_lock);
  if (m_useMacSerials && !isValidControllerSN(m_currentPartnerSN.get())) {
    std::array<char, 32> serial;
    convertToPairedSN(m_currentPartnerSN.get(), serial.data(), serial.size());
    m_currentPartnerSN.reset(Memory::StaticAllocString(serial.data()));
  }
  return copyOf(m_currentPartnerSN);
}

BurnToActive::SyncRole BurnToActive::getPartnerSyncRole() const {
  const std::lock_guard lock(m_lock);
  return m_partnerSyncRole;
}

void BurnToActive::setPartnerSyncRole(SyncRole role) {
  const std::lock_guard lock(m_lock);
  m_partnerSyncRole = role;
  m_rules.partnerSyncRole = role == Undetermined ? "" : "handed over";
}

void BurnToActive::setPartnerSyncRole(SyncRole role, std::uint64_t generation) {
  const std::lock_guard lock(m_lock);
  if (generation != m_generation) return;
  m_partnerSyncRole = role;
  m_rules.partnerSyncRole = role == Undetermined ? "" : "worked out here from its record";
}

void BurnToActive::clearDecisionParameters() {
  const std::lock_guard lock(m_lock);
  ++m_generation;
  m_currentPartnerSN.reset();
  m_partnerCodeloadTimestamp.reset();
  m_mySyncRole = m_partnerSyncRole = Undetermined;
  m_configSyncAction = m_pfuSyncAction = None;
  m_useMacSerials = false;
  m_rules = {};
}

std::uint64_t BurnToActive::generation() const {
  const std::lock_guard lock(m_lock);
  return m_generation;
}

BurnToActive::Decisions BurnToActive::decisions() const {
  const std::lock_guard lock(m_lock);
  return {.currentPartnerSN = copyOf(m_currentPartnerSN),
          .partnerCodeloadTimestamp = copyOf(m_partnerCodeloadTimestamp),
          .mySyncRole = m_mySyncRole,
          .partnerSyncRole = m_partnerSyncRole,
          .configSyncAction = m_configSyncAction,
          .pfuSyncAction = m_pfuSyncAction,
          .useMacSerials = m_useMacSerials,
          .generation = m_generation,
          .rules = m_rules};
}

void BurnToActive::keepPartnerTimestamp(const char* timestamp, std::uint64_t generation) {
  const std::lock_guard lock(m_lock);
  if (generation == m_generation) {
    m_partnerCodeloadTimestamp.reset(Memory::StaticAllocString(timestamp));
  }
}

// Each of these answers what stands afterwards.

BurnToActive::SyncRole BurnToActive::keepMySyncRole(SyncRole role, const char* rule,
                                                    std::uint64_t generation) {
  const std::lock_guard lock(m_lock);
  if (generation != m_generation) return m_mySyncRole;
  const bool stands = m_currentPartnerSN != nullptr;
  m_mySyncRole = stands ? role : Undetermined;
  m_rules.mySyncRole = m_mySyncRole == Undetermined ? "" : rule;
  if (!stands) {
    m_configSyncAction = None;
    m_rules.configSyncAction.clear();
  }
  return m_mySyncRole;
}

bool BurnToActive::keepConfigSyncAction(SyncAction action, const std::string& rule,
                                        std::uint64_t generation) {
  const std::lock_guard lock(m_lock);
  if (generation != m_generation) return false;
  const bool stands = m_partnerSyncRole != Undetermined && m_mySyncRole != Undetermined;
  m_configSyncAction = stands ? action : None;
  m_rules.configSyncAction = stands ? rule : "";
  return stands;
}

bool BurnToActive::keepPfuSyncAction(SyncAction action, const std::string& rule,
                                     std::uint64_t generation) {
  const std::lock_guard lock(m_lock);
  if (generation != m_generation) return false;
  const bool stands = m_partnerSyncRole != Undetermined;
  m_pfuSyncAction = stands ? action : None;
  m_rules.pfuSyncAction = stands ? rule : "";
  return stands;
}

}  // namespace services::app
