// The service that makes two controllers know each other.
#include "peer/pl_PartnerLink.h"

#include <algorithm>
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
constexpr const char* pathHosts[] = {partnerHost, "othermcouter", innerHost};
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
    {.key = "consent", .type = framework::PropertyType::Boolean},
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

bool store(const sysinfo::MCInfo& partner) {
  sysinfo::SysInfoWriteGuard guard;
  sysinfo::SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr) return false;
  const char other = SysInfoManager::getManager()->getMCNode() == 'A' ? 'B' : 'A';
  sysInfo->makeMCInfo(other) = partner;
  return guard.freeObject();
}

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

std::atomic<PartnerLink*> PartnerLink::m_pSingleton = nullptr;

PartnerLink::PartnerLink(const char* instance)
    : ActiveService(instance),
      m_bootId(newBootId()),
      m_lastAnswer(utility::TimeMeasure::getTimestamp()),
      m_consent(m_bootId) {
  const auto* config = framework::Config::getConfig();
  config->getIntValueOf(instance, "pollSeconds", false, &m_pollSeconds);
  config->getIntValueOf(instance, "silenceSeconds", false, &m_silenceSeconds);
  config->getBoolValueOf(instance, "consent", false, &m_consents);
  int port = defaultPort;
  config->getIntValueOf(instance, "port", false, &port);
  const char* path = "";
  config->getStringValueOf(instance, "key", true, &path);
  std::string failure;
  if (auto key = network::readExchangeKey(path, failure)) {
    m_settings = {static_cast<std::uint16_t>(port), std::move(*key)};
    m_listener = std::make_unique<network::SignedListener>(
        listenAddresses(instance), *m_settings, [this] { return textOf(view().own.record); });
    const std::string& closed = m_listener->failure();
    if (!closed.empty()) LogError("the partner is not answered: %s; tried again", closed.c_str());
  } else {
    LogError("the link to the partner is down: %s", failure.c_str());
  }
  pointPartnerAtInner();
  setRequestedThreads(2);
  m_pSingleton = this;
}

PartnerLink::~PartnerLink() {
  m_pSingleton = nullptr;
  m_listener.reset();
}

void PartnerLink::Shutdown() {
  m_listener.reset();  // its answers need services that are destroyed before this one
  ActiveService::Shutdown();
  m_lookWaiter.signal();
}

bool PartnerLink::serviceEvent(strings::stringtoken /*event*/, const void* /*data*/) {
  m_waiter.signal();
  return false;
}

const framework::ServiceInfo* PartnerLink::serviceInfo() const { return &info; }
const strings::stringtoken* PartnerLink::eventSubscription() const { return events; }

void PartnerLink::threadDo(int index) {
  if (index == 0) {
    keepAsking();
  } else {
    keepLooking();
  }
}

void PartnerLink::keepAsking() {
  m_history.add("the host started, boot " + m_bootId);
  framework::guarded(name, "start", [this] { forget(); });
  while (!requestToShutdown()) {
    framework::guarded(name, "cycle", [this] { cycle(); });
    m_waiter.lock();
    if (!requestToShutdown()) m_waiter.wait(pause());
    m_waiter.unlock();
  }
}

int PartnerLink::pause() const {
  const std::lock_guard lock(m_mutex);
  return m_consent.isWaiting() ? 1 : m_pollSeconds;
}

void PartnerLink::cycle() {
  const std::int64_t askedAt = utility::TimeMeasure::getTimestamp();
  if (const auto partner = askPartner()) {
    act(*partner, askedAt);
  } else if (const PartnerView now = view(); now.partner && now.secondsSince >= m_silenceSeconds) {
    LogWarning("the partner has been silent for %d seconds: %s", m_silenceSeconds,
               now.failure.c_str());
    forget();
  }
  noteChanges();
}

// Where it answered last, then where the path tracker points, then over both paths.
std::optional<std::string> PartnerLink::exchange(std::string& failure) {
  failure = "the link has no key";
  if (!m_settings) return std::nullopt;
  failure = std::string("the hosts table has no ") + partnerHost;
  std::vector<std::string> addresses;
  if (!m_lastAddress.empty()) addresses.push_back(m_lastAddress);
  for (const char* host : pathHosts) {
    std::array<char, 32> address{};
    if (!NetworkManager::getHosts(address.data(), address.size(), host)) continue;
    if (std::ranges::count(addresses, address.data()) == 0) addresses.emplace_back(address.data());
  }
  for (const std::string& address : addresses) {
    auto text = network::askSigned(address.c_str(), *m_settings, answerMilliseconds, failure);
    m_lastAddress = text ? address : "";
    if (text) return text;
  }
  return std::nullopt;
}

std::optional<PeerRecord> PartnerLink::askPartner() {
  std::string failure;
  std::optional<PeerRecord> record;
  if (const auto text = exchange(failure)) record = recordOf(*text, failure);
  if (record && record->bootId == m_bootId) {
    failure = std::string(partnerHost) + " is this controller itself";
    record.reset();
  }
  noteFailure(record ? std::string() : failure);
  return record;
}

// All but the role, which counts for the partner of the last reset alone.
ThisController PartnerLink::readOwn() const {
  ThisController own;
  own.letter = SysInfoManager::getManager()->getMCNode();
  PeerRecord& record = own.record;
  record.decides = relinfo::RelInfo::hasBurnToActive();
  record.bootId = m_bootId;
  record.consents = m_consents;
  record.digest = settingsDigest();
  record.midplane.clear();
  const auto* update = PartnerFirmwareUpdate::getSingleton();
  record.givesByVersions =
      !record.decides && update != nullptr && update->comparison() == app::Comparison::PartnerOlder;
  const sysinfo::SysInfoReadGuard guard;
  const sysinfo::SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr) return own;
  record.isUpdateDisabled = sysInfo->getPfuDisabled();
  if (sysInfo->getMidplaneSN() != nullptr) record.midplane = sysInfo->getMidplaneSN();
  if (sysInfo->getMyMCInfo() != nullptr) record.controller = *sysInfo->getMyMCInfo();
  return own;
}

PartnerView PartnerLink::view() const {
  PartnerView view;
  view.own = readOwn();
  view.decisions = app::BurnToActive::getInstance()->decisions();
  view.generation = view.decisions.generation;
  view.isStored = m_isStored;
  view.silenceSeconds = m_silenceSeconds;
  PeerRecord& record = view.own.record;
  const std::lock_guard lock(m_mutex);
  view.isDecided = m_facts && m_generation == view.generation;
  if (view.isDecided) {
    record.role = view.decisions.mySyncRole;
    record.partnerRole = view.decisions.partnerSyncRole;
    record.roleForSerial = m_facts->serial;
    record.roleForBoot = m_facts->bootId;
  }
  m_consent.tell(record);
  record.summary = m_summary;
  view.partner = m_partner;
  view.failure = m_failure;
  view.secondsSince =
      utility::TimeMeasure::getSeconds(utility::TimeMeasure::getTimestamp() - m_lastAnswer);
  return view;
}

void PartnerLink::act(const PeerRecord& partner, std::int64_t askedAt) {
  bool isNew = false;
  {
    const std::lock_guard lock(m_mutex);
    isNew = !m_partner || textOf(m_partner->controller) != textOf(partner.controller);
    m_partner.emplace(partner);
    m_lastAnswer = utility::TimeMeasure::getTimestamp();
  }
  keepSummary(partner);
  pairOrReset(view().own, partner, isNew);
  hearConsent(askedAt);
}

void PartnerLink::pairOrReset(const ThisController& mine, const PeerRecord& partner, bool isNew) {
  const ResetFacts now = factsOf(mine, partner);
  if (shouldPair(mine, partner)) {
    // The decisions hold the partner's serial number since the last reset.
    if (!m_facts || m_facts->serial != now.serial) reset(partner, "the partner is another one");
    if (m_facts) pair(partner);
  } else if (const char* reason = resetReason(m_facts, now)) {
    reset(partner, reason);
  } else if (m_generation != app::BurnToActive::getInstance()->generation()) {
    reset(partner, "the decisions were cleared");
  } else if (isNew && !keepRecord(partner)) {
    reset(partner, "its record could not be stored");
  }
}

void PartnerLink::pair(const PeerRecord& partner) {
  {
    const auto alone = PartnerFirmwareUpdate::betweenCycles();
    app::BurnToActive::getInstance()->pairLocalControllerToPartner();
  }
  if (!hasPaired(readOwn().record, partner)) return;  // the store has said why
  LogInfo("paired with %s", partner.controller.getControllerSerial());
  reset(partner, "both are paired");
}

// Has all decisions made afresh, for this partner, between two cycles of the update service.
void PartnerLink::reset(const PeerRecord& partner, const char* reason) {
  LogInfo("partner %s: %s", partner.controller.getControllerSerial(), reason);
  m_history.add(std::string("reset: ") + reason);
  const auto alone = PartnerFirmwareUpdate::betweenCycles();
  auto* decisions = app::BurnToActive::getInstance();
  auto* update = PartnerFirmwareUpdate::getSingleton();
  SysInfoManager::getManager()->setValidPartner(false);
  {
    const std::lock_guard lock(m_mutex);
    m_facts.reset();
  }
  decisions->clearDecisionParameters();
  const std::uint64_t generation = decisions->generation();
  if (update != nullptr) update->clearVersions();
  if (!keepRecord(partner)) return;  // the store has said why; the next answer tries again
  decisions->setCurrentPartnerSN(partner.controller.getControllerSerial());
  decisions->setPartnerCodeloadTimestamp(partner.controller.getLastLoadedTime());
  ThisController own = readOwn();
  own.record.role = decisions->getLocalSyncRole();  // afresh: the partner's counts only beside it
  handOver(partner, factsOf(own, partner), generation);
  if (update != nullptr) update->kickstart();
}

// The order matters: nothing is decided on the partner's old facts, and it is valid only once all
// that is known of it is in its place.
//
// Without the partner's role the update service has a slave of the same versions record the
// midplane. That is right when nothing is left to give; before, it would make a master of a
// controller that still has to take the other's settings. So it learns no versions till then, but
// in a release without these decisions, which goes by the versions alone.
void PartnerLink::handOver(const PeerRecord& partner, const ResetFacts& facts,
                           std::uint64_t generation) {
  const bool isKnown = facts.role != BurnToActive::Undetermined;
  if (isKnown) app::BurnToActive::getInstance()->setPartnerSyncRole(facts.role);
  if (isKnown && facts.complete && !facts.mustTakeFirst) {
    SysInfoManager::getManager()->setValidPartner(true);
  }
  auto* update = PartnerFirmwareUpdate::getSingleton();
  if (update != nullptr && (facts.held || !relinfo::RelInfo::hasBurnToActive())) {
    update->setVersions(partner.controller.getMcVersion(), partner.controller.getBundleVersion());
  }
  const std::lock_guard lock(m_mutex);
  m_facts = facts;
  m_generation = generation;
}

bool PartnerLink::keepRecord(const PeerRecord& partner) {
  m_isStored = store(partner.controller);
  return m_isStored;
}

// The partner is silent: nothing that was learned of it counts any more.
void PartnerLink::forget() {
  const auto alone = PartnerFirmwareUpdate::betweenCycles();
  SysInfoManager::getManager()->setValidPartner(false);
  app::BurnToActive::getInstance()->clearDecisionParameters();
  if (auto* update = PartnerFirmwareUpdate::getSingleton()) update->clearVersions();
  const std::lock_guard lock(m_mutex);
  m_facts.reset();
  m_partner.reset();
  m_consent.forget();
}

void PartnerLink::noteFailure(const std::string& failure) {
  {
    const std::lock_guard lock(m_mutex);
    if (failure == m_failure) return;
    m_failure = failure;
  }
  if (failure.empty()) {
    LogInfo("the partner answers");
  } else {
    LogWarning("the partner was not heard: %s", failure.c_str());
  }
}

void PartnerLink::information(utility::PutStream& stream, int indentation,
                              bool /*detailed*/) const {
  const PartnerView now = view();
  stream.Indent(indentation);
  if (!now.partner) {
    stream.PutF("partner: silent, %s\n",
                now.failure.empty() ? "not yet asked" : now.failure.c_str());
    return;
  }
  stream.PutF("partner: %s, role %s, %s%s%s\n", now.partner->controller.getControllerSerial(),
              StringRepository::toString(now.partner->role),
              areEqual(now.own, *now.partner) ? "equal" : "different",
              isHeld(now.own, *now.partner) ? ", not yet paired on both sides" : "",
              stallOf(now) ? ", stalled" : "");
}

}  // namespace services::peer
