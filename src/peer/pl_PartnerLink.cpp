// The service that makes two controllers know each other.
#include "peer/pl_PartnerLink.h"

#include <array>
#include <random>

#include "app/pairing/app_PartnerFirmwareUpdate.h"
#include "host/base/fw_Entrance.h"
#include "host/base/fw_Guarded.h"
#include "host/base/st_StringRepository.h"
#include "host/network/nw_NetworkManager.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_ServiceFactory.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/record/ri_RelInfo.h"
#include "sysinfo/store/si_Transfer.h"
#include "util/si_Hexadecimal.h"
#include "util/ut_IPV4Address.h"
#include "util/ut_PutStream.h"
#include "util/ut_TimeMeasure.h"

namespace services::peer {

using app::PartnerFirmwareUpdate;
using network::NetworkManager;
using strings::StringRepository;
using sysinfo::SysInfoManager;

namespace {

constexpr const char* partnerHost = "othermc";
constexpr const char* innerHost = "othermcinner";
constexpr int answerMilliseconds = 3000;
constexpr int defaultPort = 4110;

void checkAddress(const char* value, std::vector<framework::PropertyFinding>& findings) {
  if (!utility::IPV4Address::parse(value)) findings.push_back({true, "must be an IPv4 address"});
}

constexpr framework::PropertyRule rules[] = {
    {.key = "key",
     .type = framework::PropertyType::Text,
     .absent = "the link is down",
     .holds = framework::isSafePath,
     .rule = framework::safePathRule},
    {.key = "listen",
     .type = framework::PropertyType::List,
     .absent = "nobody is answered",
     .check = checkAddress},
    {.key = "port", .type = framework::PropertyType::Integer, .minimum = 1, .maximum = 65535},
    {.key = "pollSeconds", .type = framework::PropertyType::Integer, .minimum = 1, .maximum = 3600},
    {.key = "silenceSeconds",
     .type = framework::PropertyType::Integer,
     .minimum = 2,
     .maximum = 86400},
};

constexpr const char* name = "PartnerLink";
const framework::ServiceProperties properties(name, rules);
framework::Service* BuildPartnerLink(const char* instance) { return new PartnerLink(instance); }
const framework::ServiceFactory pFactoryPartnerLink(BuildPartnerLink, name);

const framework::ServiceInfo info = {strings::token<"PartnerLink">, strings::token<"PartnerLink">,
                                     strings::token<"mcpeer">};
// Whatever changes here may be what the partner waits for, or what was waited for here.
constexpr strings::stringtoken events[] = {strings::tGSsysInfoChanged, strings::tGSuserChanged,
                                           strings::tGSuserAccessChanged, strings::tGSendOfList};

std::string newBootId() {
  std::random_device device;
  std::array<unsigned char, 8> bytes;
  for (auto& byte : bytes) byte = static_cast<unsigned char>(device());
  return hexadecimal(bytes);
}

std::vector<std::string> listenAddresses(const char* instance) {
  const auto* list = framework::Config::getConfig()->propertyAsStringArray(
      framework::Config::concatName(instance, "listen", false));
  std::vector<std::string> addresses;
  for (unsigned int i = 0; list != nullptr && i < list->Length(); ++i) {
    addresses.emplace_back(list->ElementAt(i));
  }
  return addresses;
}

std::string settingsDigest() {
  const sysinfo::Store* store = SysInfoManager::getManager()->store();
  return store == nullptr ? std::string() : digestOf(sysinfo::transferable(store->rows()));
}

// Where the partner is asked until the path tracker has found its outer path up: that moves the
// name only when this path changes, and after a start it knows of no change.
void pointPartnerAtInner() {
  std::array<char, 32> address;
  if (NetworkManager::getHosts(address.data(), address.size(), innerHost)) {
    NetworkManager::setHosts(address.data(), partnerHost);
  }
}

}  // namespace

PartnerLink* PartnerLink::m_pSingleton = nullptr;

PartnerLink::PartnerLink(const char* instance) : ActiveService(instance), m_bootId(newBootId()) {
  const auto* config = framework::Config::getConfig();
  config->getIntValueOf(instance, "pollSeconds", false, &m_pollSeconds);
  config->getIntValueOf(instance, "silenceSeconds", false, &m_silenceSeconds);
  int port = defaultPort;
  config->getIntValueOf(instance, "port", false, &port);
  const char* path = "";
  config->getStringValueOf(instance, "key", true, &path);
  std::string failure;
  if (auto key = network::readExchangeKey(path, failure)) {
    m_settings = {static_cast<std::uint16_t>(port), std::move(*key)};
    m_listener = std::make_unique<network::SignedListener>(listenAddresses(instance), *m_settings,
                                                           [this] { return textOf(own().record); });
    const std::string& closed = m_listener->failure();
    if (!closed.empty()) LogError("the partner is not answered: %s; tried again", closed.c_str());
  } else {
    LogError("the link to the partner is down: %s", failure.c_str());
  }
  pointPartnerAtInner();
  setRequestedThreads(1);
  m_pSingleton = this;
}

PartnerLink::~PartnerLink() {
  m_pSingleton = nullptr;
  m_listener.reset();
}

void PartnerLink::Shutdown() {
  m_listener.reset();  // its answers need services that are destroyed before this one
  ActiveService::Shutdown();
}

bool PartnerLink::serviceEvent(strings::stringtoken /*event*/, const void* /*data*/) {
  m_waiter.signal();
  return false;
}

const framework::ServiceInfo* PartnerLink::serviceInfo() const { return &info; }
const strings::stringtoken* PartnerLink::eventSubscription() const { return events; }

void PartnerLink::threadDo(int /*index*/) {
  framework::guarded(name, "start", [this] { forget(); });
  while (!requestToShutdown()) {
    framework::guarded(name, "cycle", [this] { cycle(); });
    m_waiter.lock();
    if (!requestToShutdown()) m_waiter.wait(m_pollSeconds);
    m_waiter.unlock();
  }
}

void PartnerLink::cycle() {
  if (const auto partner = ask()) {
    act(*partner);
    return;
  }
  const std::lock_guard lock(m_mutex);
  const auto silence =
      utility::TimeMeasure::getSeconds(utility::TimeMeasure::getTimestamp() - m_lastAnswer);
  if (!m_partner || silence < m_silenceSeconds) return;
  LogWarning("the partner has been silent for %d seconds: %s", m_silenceSeconds, m_failure.c_str());
  forget();
}

std::optional<PeerRecord> PartnerLink::ask() {
  std::array<char, 32> address;
  std::string failure = "the link has no key";
  std::optional<PeerRecord> record;
  if (m_settings && !NetworkManager::getHosts(address.data(), address.size(), partnerHost)) {
    failure = std::string("the hosts table has no ") + partnerHost;
  } else if (m_settings) {
    const auto text = network::askSigned(address.data(), *m_settings, answerMilliseconds, failure);
    if (text) record = recordOf(*text, failure);
    if (record && record->bootId == m_bootId) {
      failure = std::string(partnerHost) + " is this controller itself";
      record.reset();
    }
  }
  noteFailure(record ? std::string() : failure);
  return record;
}

// What this controller tells: its role is worked out for the partner of the last reset.
Own PartnerLink::own() const {
  Own own;
  {
    const std::lock_guard lock(m_mutex);
    if (m_facts) {
      own.record.role = app::BurnToActive::getInstance()->getLocalSyncRole();
      own.record.partnerRole = app::BurnToActive::getInstance()->getPartnerSyncRole();
      own.record.roleForSerial = m_facts->serial;
      own.record.roleForBoot = m_facts->bootId;
    }
  }
  own.letter = SysInfoManager::getManager()->getMCNode();
  own.record.decides = relinfo::RelInfo::hasBurnToActive();
  own.record.bootId = m_bootId;
  own.record.digest = settingsDigest();
  const sysinfo::SysInfoReadGuard guard;
  const sysinfo::SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr) return own;
  own.record.isUpdateDisabled = sysInfo->getPfuDisabled();
  if (sysInfo->getMyMCInfo() != nullptr) own.record.controller = *sysInfo->getMyMCInfo();
  return own;
}

void PartnerLink::act(const PeerRecord& partner) {
  const std::lock_guard lock(m_mutex);
  m_lastAnswer = utility::TimeMeasure::getTimestamp();
  Own mine = own();
  const bool isNew = !m_partner || textOf(m_partner->controller) != textOf(partner.controller);
  m_partner.emplace(partner);
  if (shouldPair(mine, partner)) {
    // The decisions hold the partner's serial number since the last reset.
    if (!m_facts || m_facts->serial != factsOf(mine, partner).serial) reset(mine, partner);
    if (!m_facts) return;
    app::BurnToActive::getInstance()->pairLocalControllerToPartner();
    mine = own();
    if (!hasPaired(mine.record, partner)) return;  // the store has said why
    LogInfo("paired with %s", partner.controller.getControllerSerial());
    reset(mine, partner);
  } else if (const char* reason = resetReason(m_facts, factsOf(mine, partner))) {
    LogInfo("partner %s: %s", partner.controller.getControllerSerial(), reason);
    reset(mine, partner);
  } else if (isNew && !keepRecord(partner)) {
    reset(mine, partner);
  }
  noteStall(stallOf(own(), partner));
}

// Has all decisions made afresh, for this partner. The order matters: nothing is decided on the
// partner's old facts, and it is valid only once all that is known of it is in its place.
void PartnerLink::reset(Own own, const PeerRecord& partner) {
  auto* decisions = app::BurnToActive::getInstance();
  auto* update = PartnerFirmwareUpdate::getSingleton();
  const sysinfo::MCInfo& controller = partner.controller;
  SysInfoManager::getManager()->setValidPartner(false);
  decisions->clearDecisionParameters();
  m_facts.reset();
  if (update != nullptr) update->clearVersions();
  if (!keepRecord(partner)) return;  // the store has said why; the next answer tries again
  decisions->setCurrentPartnerSN(controller.getControllerSerial());
  decisions->setPartnerCodeloadTimestamp(controller.getLastLoadedTime());
  own.record.role = decisions->getLocalSyncRole();  // afresh: the partner's counts only beside it
  const ResetFacts facts = factsOf(own, partner);
  const bool known = facts.role != BurnToActive::Undetermined;
  if (known) decisions->setPartnerSyncRole(facts.role);
  if (known && facts.complete) SysInfoManager::getManager()->setValidPartner(true);
  m_facts = facts;
  if (update == nullptr) return;
  handOverVersions(*update, partner, facts);
  update->kickstart();
}

// Without the partner's role the update service has a slave of the same versions record the
// midplane. That is right when nothing is left to give; before, it would make a master of a
// controller that still has to take the other's settings. So it learns no versions till then, but
// in a release without these decisions, which goes by the versions alone.
void PartnerLink::handOverVersions(PartnerFirmwareUpdate& update, const PeerRecord& partner,
                                   const ResetFacts& facts) {
  if (facts.held || !relinfo::RelInfo::hasBurnToActive()) {
    update.setVersions(partner.controller.getMcVersion(), partner.controller.getBundleVersion());
  }
}

bool PartnerLink::keepRecord(const PeerRecord& partner) {
  sysinfo::SysInfoWriteGuard guard;
  sysinfo::SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr) return false;
  const char other = SysInfoManager::getManager()->getMCNode() == 'A' ? 'B' : 'A';
  sysInfo->makeMCInfo(other) = partner.controller;
  return guard.freeObject();
}

// The partner is silent: nothing that was learned of it counts any more.
void PartnerLink::forget() {
  const std::lock_guard lock(m_mutex);
  SysInfoManager::getManager()->setValidPartner(false);
  app::BurnToActive::getInstance()->clearDecisionParameters();
  if (auto* update = PartnerFirmwareUpdate::getSingleton()) update->clearVersions();
  m_facts.reset();
  m_partner.reset();
  m_stall = nullptr;
}

void PartnerLink::noteFailure(const std::string& failure) {
  const std::lock_guard lock(m_mutex);
  if (failure == m_failure) return;
  m_failure = failure;
  if (failure.empty()) {
    LogInfo("the partner answers");
  } else {
    LogWarning("the partner was not heard: %s", failure.c_str());
  }
}

void PartnerLink::noteStall(const char* stall) {
  if (stall == m_stall) return;
  m_stall = stall;
  if (stall != nullptr) LogWarning("the controllers stay different: %s", stall);
}

PartnerLink::Standing PartnerLink::standing() const {
  Standing standing;
  const Own mine = own();
  standing.own = mine.record;
  const std::lock_guard lock(m_mutex);
  standing.failure = m_failure;
  standing.isThere = m_partner.has_value();
  if (!m_partner) return standing;
  standing.partner = *m_partner;
  standing.secondsSince =
      utility::TimeMeasure::getSeconds(utility::TimeMeasure::getTimestamp() - m_lastAnswer);
  standing.equal = areEqual(mine, *m_partner);
  standing.held = isHeld(mine, *m_partner);
  standing.stall = stallOf(mine, *m_partner);
  return standing;
}

void PartnerLink::information(utility::PutStream& stream, int indentation,
                              bool /*detailed*/) const {
  const Standing now = standing();
  stream.Indent(indentation);
  if (!now.isThere) {
    stream.PutF("partner: silent, %s\n",
                now.failure.empty() ? "not yet asked" : now.failure.c_str());
    return;
  }
  stream.PutF("partner: %s, role %s, %s%s%s\n", now.partner.controller.getControllerSerial(),
              StringRepository::toString(now.partner.role), now.equal ? "equal" : "different",
              now.held ? ", not yet paired on both sides" : "",
              now.stall == nullptr ? "" : ", stalled");
}

}  // namespace services::peer
