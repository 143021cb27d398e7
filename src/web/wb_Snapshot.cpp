// What the web shows of the controller at one moment.
#include "web/wb_Snapshot.h"

#include <algorithm>
#include <array>

#include "app/interfaces/app_InterfaceManager.h"
#include "app/pairing/app_BurnToActive.h"
#include "app/paths/app_NetTracker.h"
#include "app/supervision/app_AppManager.h"
#include "host/base/st_StringRepository.h"
#include "host/web/ht_HttpServer.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/manager/us_UserManager.h"
#include "sysinfo/record/si_Field.h"
#include "util/ut_BufferStream.h"
#include "util/ut_DateTime.h"
#include "util/ut_TimeMeasure.h"
#include "web/wb_Delivery.h"
#include "web/wb_EventFeed.h"

namespace services::web {

using app::InterfaceManager;
using strings::StringRepository;
using sysinfo::SysInfoManager;

namespace {

std::string fieldOf(const sysinfo::MCInfo& record, const char* key) {
  return sysinfo::findField(sysinfo::controllerFields(), key)->get(record).value_or("");
}

ControllerFacts controllerOf(const sysinfo::SysInfo& sysInfo, char letter) {
  auto& manager = *SysInfoManager::getManager();
  ControllerFacts facts{.letter = std::string(1, letter)};
  facts.isThis = letter == manager.getMCNode();
  const sysinfo::MCInfo* record = sysInfo.getMCInfo(letter);
  if (record == nullptr) return facts;
  facts.isValid = facts.isThis || manager.isValidPartner();
  facts.address = fieldOf(*record, "IpV4Address");
  facts.mac = fieldOf(*record, "MacAddress");
  facts.serial = fieldOf(*record, "ControllerSerial");
  facts.firmware = fieldOf(*record, "McVersion");
  facts.bundle = fieldOf(*record, "BundleVersion");
  facts.cpld = fieldOf(*record, "CpldVersion");
  facts.midplane = fieldOf(*record, "LoadMidplaneSerial");
  facts.lastLoaded = fieldOf(*record, "LastLoadedTime");
  facts.lastPaired = fieldOf(*record, "LastPairedPartnerSerial");
  return facts;
}

void readSystem(Snapshot& snapshot, unsigned int needs) {
  snapshot.letter = SysInfoManager::getManager()->getMCNode();
  const sysinfo::SysInfoReadGuard guard;
  const sysinfo::SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr) return;
  if (sysInfo->getMidplaneSN() != nullptr) snapshot.midplane = sysInfo->getMidplaneSN();
  for (const char letter : {'A', 'B'}) {
    snapshot.controllers.push_back(controllerOf(*sysInfo, letter));
  }
  if ((needs & Interfaces) == 0) return;
  for (const auto& interface : app::managementInterfaces()) {
    snapshot.interfaces.push_back({.name = StringRepository::toString(interface.name),
                                   .nextStart = interface.wanted(*sysInfo)});
  }
}

// Not with the system information held: a daemon's state waits for the supervision's table.
void readInterfaces(Snapshot& snapshot) {
  const auto* manager = InterfaceManager::getSingleton();
  if (manager == nullptr) return;
  for (InterfaceFacts& facts : snapshot.interfaces) {
    const auto member =
        static_cast<InterfaceManager::Interfaces>(strings::GS.toToken(facts.name.c_str()));
    facts.managed = manager->managing(member);
    facts.up = manager->isInterfaceUp(member);
  }
}

void readAccounts(Snapshot& snapshot) {
  auto& users = *user::UserManager::getManager();
  for (int i = 0; const auto* entity = users.getUser(i, strings::tGSreadAccess); ++i) {
    if (const auto* record = dynamic_cast<const user::User*>(entity)) {
      const auto& interfaces = record->getInterfaces();
      snapshot.accounts.push_back(
          {record->getNameString(), StringRepository::toString(record->getRights()),
           interfaces.inSet(strings::token<"Http">) || interfaces.inSet(strings::token<"Https">)});
    }
    users.releaseUser(entity, strings::tGSreadAccess);
  }
}

void readPairing(Snapshot& snapshot) {
  auto& decisions = *app::BurnToActive::getInstance();
  snapshot.role = StringRepository::toString(decisions.getLocalSyncRole());
  snapshot.story = app::pairingStory();
  snapshot.partnerRole = StringRepository::toString(decisions.getPartnerSyncRole());
}

void readLogs(Snapshot& snapshot, const Sources& sources, unsigned int needs,
              const std::string& only) {
  const auto isAsked = [&](Needs log, const char* name) {
    return (needs & log) != 0 && (only.empty() || only == name);
  };
  if (isAsked(AuditRecords, "Audit")) snapshot.audit = sources.audit.records();
  if (isAsked(LogLines, "Log")) snapshot.lines = sources.lines.lines();
  if (isAsked(ManagedLogs, "ManagedLogs")) snapshot.managedLogs = framework::managedLogsReports();
  const auto* manager = app::AppManager::getSingleton();
  if (manager != nullptr && isAsked(Restarts, "Restarts")) {
    snapshot.history = manager->history().entries("");
  }
}

template <class Range>
auto* findBy(const Range& range, const std::string& name, const auto& nameOf) {
  const auto found = std::ranges::find(range, name, nameOf);
  return found == range.end() ? nullptr : &*found;
}

}  // namespace

std::vector<const app::ProcessView*> Snapshot::views() const {
  std::vector<const app::ProcessView*> views;
  for (const app::DaemonReport& daemon : daemons) views.push_back(&daemon.view);
  return views;
}

const ControllerFacts* Snapshot::controller(const std::string& wanted) const {
  return findBy(controllers, wanted, &ControllerFacts::letter);
}

const app::DaemonReport* Snapshot::daemon(const std::string& name) const {
  return findBy(daemons, name, [](const app::DaemonReport& daemon) { return daemon.view.name; });
}

const InterfaceFacts* Snapshot::interface(const std::string& name) const {
  return findBy(interfaces, name, &InterfaceFacts::name);
}

std::string isoTime(std::int64_t timestamp) {
  return isoTime(utility::DateTime(utility::TimeMeasure::getSeconds(timestamp)));
}

std::string isoTime(const utility::DateTime& time) {
  std::array<char, 32> buffer{};
  utility::BufferStream stream(buffer.data(), buffer.size(), true);
  time.ToISOBuffer(stream);
  return buffer.data();
}

Snapshot readSnapshot(const Sources& sources, unsigned int needs, const std::string& only) {
  Snapshot snapshot;
  snapshot.now = utility::TimeMeasure::getTimestamp();
  snapshot.uptimeSeconds = utility::TimeMeasure::getSeconds(snapshot.now - sources.start);
  snapshot.dateTime = isoTime(snapshot.now);
  snapshot.sessionSeconds = sources.login.idleSeconds();
  if (const auto* web = http::HttpServer::getSingleton()) {
    snapshot.httpPort = web->settings().port;
    snapshot.httpsPort = web->settings().sslPort;
    if ((needs & Certificate) != 0) snapshot.certificate = web->certificate();
  }
  if (const auto* paths = app::NetTracker::getSingleton()) {
    snapshot.knowsPaths = true;
    snapshot.innerUp = paths->isInnerPathUp();
    snapshot.outerUp = paths->isOuterPathUp();
  }
  readSystem(snapshot, needs);
  if ((needs & Interfaces) != 0) readInterfaces(snapshot);
  snapshot.partner = app::partnerSummary();
  if ((needs & (Daemons | Details | History | Samples)) != 0) readDaemons(snapshot, needs, only);
  if ((needs & Accounts) != 0) readAccounts(snapshot);
  if ((needs & Sessions) != 0) snapshot.sessions = sources.login.sessions();
  readLogs(snapshot, sources, needs, only);
  if ((needs & Pairing) != 0) readPairing(snapshot);
  if ((needs & Listeners) != 0) {
    for (const auto& one : sources.feed.listeners())
      snapshot.listeners.push_back({one.id, one.user});
    if (sources.delivery != nullptr) {
      snapshot.subscriptions = sources.delivery->views();
      snapshot.retryAttempts = sources.delivery->retries().attempts;
      snapshot.retrySeconds = sources.delivery->retries().seconds;
    }
  }
  return snapshot;
}

}  // namespace services::web
