// The service that keeps both controllers on the same firmware and configuration.
#include "app/pairing/app_PartnerFirmwareUpdate.h"

#include "host/base/fw_Container.h"
#include "host/base/fw_Guarded.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Debug.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_ServiceFactory.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/record/dm_Component.h"
#include "sysinfo/record/ri_RelInfo.h"
#include "util/ut_BufferStream.h"
#include "util/ut_OutcomeCount.h"

namespace services::app {

using relinfo::RelInfo;
using strings::StringRepository;
using sysinfo::SysInfo;
using sysinfo::SysInfoManager;

namespace {

constexpr int versionSize = sizeof(VersionTexts::mc);

constexpr framework::PropertyRule propertyRules[] = {
    {.key = "pollSeconds",
     .type = framework::PropertyType::Integer,
     .minimum = 1,
     .maximum = 86400},
};

bool isDebugOn() { return utility::Debug::isDebugOn(strings::token<"PartnerFirmwareUpdate">); }

void copyVersion(char* field, const char* text) {
  utility::BufferStream(field, versionSize, true).PutS(text);
}

// The partner's CPLD version from the component data, empty when that lacks it.
void copyCpldOfComponent(char* field) {
  std::array<char, 40> text;
  utility::BufferStream durableId(text.data(), text.size(), false);
  services::dom::Component::genControllerDurableId(durableId,
                                                   SysInfoManager::getManager()->getMCNode(), 0);
  const framework::dom::ReadDatasetLockGuard guard(strings::tGScomponents, true);
  services::dom::Component component(nullptr);
  const bool found = component.findDurableId(durableId.pTail());
  const char* revision = found ? component.getControllerCpldRevision() : "";
  if (found && isDebugOn()) {
    framework::Logger::StaticLogMethod(framework::LogType::Debug, __PRETTY_FUNCTION__, __LINE__,
                                       "CPLD revision from DOM: %s", revision);
  }
  copyVersion(field, revision);
}

bool isSlave(BurnToActive::SyncRole role) {
  return role == BurnToActive::SlaveUnpaired || role == BurnToActive::SlavePaired;
}

// Whether both controllers are slaves that know each other: neither will push, so each takes the
// midplane for its own.
bool areSlavesToMerge(BurnToActive& pairing, BurnToActive::SyncAction config) {
  return config == BurnToActive::Merge && pairing.getLocalSyncRole() == BurnToActive::SlavePaired &&
         pairing.getPartnerSyncRole() == BurnToActive::SlavePaired;
}

}  // namespace

framework::Service* BuildPartnerFirmwareUpdate(const char* name) {
  return new PartnerFirmwareUpdate(name);
}

const framework::ServiceFactory pFactoryPartnerFirmwareUpdate(BuildPartnerFirmwareUpdate,
                                                              strings::pGSPartnerFirmwareUpdate);
const framework::ServiceProperties propertiesPartnerFirmwareUpdate(
    strings::pGSPartnerFirmwareUpdate, propertyRules);

std::atomic<PartnerFirmwareUpdate*> PartnerFirmwareUpdate::m_pPartnerFirmwareUpdate = nullptr;

std::mutex PartnerFirmwareUpdate::m_cycleLock;

const framework::ServiceInfo PartnerFirmwareUpdate::m_serviceInfoData = {
    strings::token<"PartnerFirmwareUpdate">, strings::token<"PartnerFirmwareUpdate">,
    strings::tGSserviceClass};

const strings::stringtoken PartnerFirmwareUpdate::m_eventsOfInterest[] = {
    strings::token<"updateWakeUp">, strings::tGSendOfList};

PartnerFirmwareUpdate::PartnerFirmwareUpdate(const char* name) : ActiveService(name) {
  setRequestedThreads(1);
  framework::Config::getConfig(0, nullptr)
      ->getIntValueOf(name, "pollSeconds", false, &m_pollConfigured);
  m_pollSeconds = m_pollConfigured;
  m_pPartnerFirmwareUpdate = this;
}

PartnerFirmwareUpdate::~PartnerFirmwareUpdate() { clearVersions(); }

void PartnerFirmwareUpdate::Startup() { ActiveService::Startup(); }

void PartnerFirmwareUpdate::Shutdown() {
  shutDownRequest();
  m_cycleWaiter.signal();
  ActiveService::Shutdown();
}

bool PartnerFirmwareUpdate::serviceEvent(strings::stringtoken event, const void* /*data*/) {
  if (event == strings::token<"updateWakeUp">) m_cycleWaiter.signal();
  return false;
}

void PartnerFirmwareUpdate::kickstart() { m_cycleWaiter.signal(); }

void PartnerFirmwareUpdate::setVersions(const char* mcVersion, const char* bundleVersion) {
  clearVersions();
  LogMethodInfo(__PRETTY_FUNCTION__, __LINE__,
                "PFU: Setting partner version information, MC version: %s, Bundle version: %s.",
                mcVersion == nullptr ? "NULL" : mcVersion,
                bundleVersion == nullptr ? "NULL" : bundleVersion);
  const std::lock_guard lock(m_versionsLock);
  m_partnerMcVersion.reset(framework::Memory::StaticAllocString(mcVersion));
  m_partnerBundleVersion.reset(framework::Memory::StaticAllocString(bundleVersion));
}

void PartnerFirmwareUpdate::clearVersions() {
  if (isDebugOn()) {
    LogMethodDebug(__PRETTY_FUNCTION__, __LINE__, "PFU: Clearing partner version information.");
  }
  const std::lock_guard lock(m_versionsLock);
  m_partnerMcVersion.reset();
  m_partnerBundleVersion.reset();
}

void PartnerFirmwareUpdate::getVersions(const sysinfo::MCInfo* controller, char* mc, char* cpld,
                                        char* bundle, bool isLocal) const {
  for (char* field : {mc, cpld, bundle}) copyVersion(field, nullptr);
  if (controller == nullptr) return;
  if (isLocal || SysInfoManager::getManager()->isValidPartner()) {
    copyVersion(mc, controller->getMcVersion());
    copyVersion(bundle, controller->getBundleVersion());
    copyVersion(cpld, controller->getCpldVersion());
    return;
  }
  {
    const std::lock_guard lock(m_versionsLock);
    copyVersion(mc, m_partnerMcVersion.get());
    copyVersion(bundle, m_partnerBundleVersion.get());
  }
  copyCpldOfComponent(cpld);
}

void PartnerFirmwareUpdate::pairWithMidplane() {
  BurnToActive* pairing = BurnToActive::getInstance();
  if (isSlave(pairing->getLocalSyncRole())) pairing->pairLocalControllerToMidplane();
}

void PartnerFirmwareUpdate::information(utility::PutStream& stream, int indentation,
                                        bool /*detailed*/) const {
  stream.Indent(indentation);
  stream.PutF("Poll Seconds: %d, poll Configured: %d\n", m_pollSeconds.load(), m_pollConfigured);
}

void PartnerFirmwareUpdate::threadDo(int /*index*/) {
  while (!requestToShutdown()) {
    m_cycleWaiter.lock();
    m_cycleWaiter.wait(m_pollSeconds);
    m_cycleWaiter.unlock();
    framework::guarded(getNameString(), "update cycle", [this] { cycle(); });
  }
}

std::unique_lock<std::mutex> PartnerFirmwareUpdate::betweenCycles() {
  return std::unique_lock(m_cycleLock);
}

Comparison PartnerFirmwareUpdate::comparison() const {
  const sysinfo::SysInfoReadGuard guard;
  const SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr) return Comparison::Unavailable;
  return sysInfo->getPfuDisabled() ? Comparison::NotCompared : readVersions(*sysInfo).comparison;
}

// Hold the system information.
PartnerFirmwareUpdate::Versions PartnerFirmwareUpdate::readVersions(const SysInfo& sysInfo) const {
  Versions read{};
  auto& [local, partner, comparison] = read;
  getVersions(sysInfo.getMyMCInfo(), local.mc.data(), local.cpld.data(), local.bundle.data(), true);
  getVersions(sysInfo.getOtherMCInfo(), partner.mc.data(), partner.cpld.data(),
              partner.bundle.data(), false);
  if (partner.cpld[0] == '\0') partner.cpld = local.cpld;
  comparison = compareVersions(local, partner);
  return read;
}

void PartnerFirmwareUpdate::cycle() {
  const auto alone = betweenCycles();
  sysinfo::SysInfoReadGuard guard;
  const SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr) return;
  if (sysInfo->getPfuDisabled()) {
    guard.freeObject();
    cycleWhileDisabled();
    return;
  }
  const auto [local, partner, comparison] = readVersions(*sysInfo);
  guard.freeObject();
  if (comparison == Comparison::Unavailable) {
    act(decideUpdate({.comparison = comparison, .hasDecisions = RelInfo::hasBurnToActive()}));
    logUnavailable(local, partner);
  } else if (comparison == Comparison::Equal) {
    cycleOfEqual();
  } else {
    logDifferent(local, partner);
    cycleOfDifferent(comparison);
  }
}

void PartnerFirmwareUpdate::cycleWhileDisabled() {
  if (!RelInfo::hasBurnToActive()) return;
  BurnToActive* pairing = BurnToActive::getInstance();
  const BurnToActive::SyncAction config = pairing->getSystemConfigurationSyncAction();
  act(decideUpdate(
      {.comparison = Comparison::NotCompared, .hasDecisions = true, .config = config}));
  if (pairing->getSystemPfuAction() == BurnToActive::Push || areSlavesToMerge(*pairing, config)) {
    pairWithMidplane();
  }
}

void PartnerFirmwareUpdate::cycleOfEqual() {
  UpdateFacts facts{.comparison = Comparison::Equal, .hasDecisions = RelInfo::hasBurnToActive()};
  if (facts.hasDecisions) {
    facts.config = BurnToActive::getInstance()->getSystemConfigurationSyncAction();
  }
  act(decideUpdate(facts));
  pairWithMidplane();
}

void PartnerFirmwareUpdate::cycleOfDifferent(Comparison comparison) {
  UpdateFacts facts{.comparison = comparison, .hasDecisions = RelInfo::hasBurnToActive()};
  if (facts.hasDecisions) {
    BurnToActive* pairing = BurnToActive::getInstance();
    facts.firmware = firmwareAction();
    if (facts.firmware == BurnToActive::Push) {
      pairWithMidplane();
      facts.config = pairing->getSystemConfigurationSyncAction();
    } else {
      LogInfo("BurnToActive Action: %s", StringRepository::toString(pairing->getSystemPfuAction()));
    }
  }
  act(decideUpdate(facts));
}

// The firmware action. Where it cannot be told although the partner's information is valid, the
// partner's role is worked out here. The generation and the validity are read first: who hands a
// role over clears the decisions before and makes the partner valid after, so a role that comes
// while this one is worked out is not overwritten.
BurnToActive::SyncAction PartnerFirmwareUpdate::firmwareAction() {
  BurnToActive* pairing = BurnToActive::getInstance();
  const std::uint64_t generation = pairing->generation();
  const bool isValid = SysInfoManager::getManager()->isValidPartner();
  if (pairing->getSystemPfuAction() == BurnToActive::None && isValid) {
    pairing->setPartnerSyncRole(pairing->calculatePartnerSyncRole(), generation);
  }
  return pairing->getSystemPfuAction();
}

void PartnerFirmwareUpdate::logUnavailable(const VersionTexts& local,
                                           const VersionTexts& partner) const {
  if (!isDebugOn()) return;
  LogMethodDebug(__PRETTY_FUNCTION__, __LINE__,
                 "PFU: sysinfo object does not have valid mc versions in both MCInfo objects or we "
                 "don't know partner's yet");
  LogMethodDebug(__PRETTY_FUNCTION__, __LINE__,
                 "PFU: McVersions: %s ; %s, bundles: %s ; %s, Cplds: %s ; %s ", local.mc.data(),
                 partner.mc.data(), local.bundle.data(), partner.bundle.data(), local.cpld.data(),
                 partner.cpld.data());
}

void PartnerFirmwareUpdate::logDifferent(const VersionTexts& local,
                                         const VersionTexts& partner) const {
  LogInfo(
      "PFU: Versions on controllers do not match, My MC: %s, Partner MC: %s, My CPLD: %s, "
      "Partner CPLD: %s, My Bundle: %s, Partner Bundle: %s",
      local.mc.data(), partner.mc.data(), local.cpld.data(), partner.cpld.data(),
      local.bundle.data(), partner.bundle.data());
}

void PartnerFirmwareUpdate::act(const UpdateStep& step) {
  if (step.command != nullptr) {
    LogInfo("%s", step.words);
    framework::Container::spawnFor(
        step.command, framework::Container::Fault::CallersAffair,
        [](const utility::CommandOutcome& outcome) {
          utility::OutcomeCount::of(utility::OutcomeCount::Purpose::Push).note(outcome);
        });
  }
  if (step.wait == NextWait::Slow) m_pollSeconds = slowPoll;
  if (step.wait == NextWait::Configured) m_pollSeconds = m_pollConfigured;
}

}  // namespace services::app
