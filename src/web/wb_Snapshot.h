// What the web shows of the controller at one moment: values, read once for a request.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/pairing/app_PairingStory.h"
#include "app/supervision/app_DaemonReport.h"
#include "app/supervision/app_History.h"
#include "app/supervision/app_PartnerSummary.h"
#include "app/supervision/app_memtrack.h"
#include "host/log/fw_RecentLines.h"
#include "host/service/fw_ManagedLogs.h"
#include "web/wb_Audit.h"
#include "web/wb_Login.h"
#include "web/wb_Subscription.h"

namespace services::web {

using framework::RecentLines;

class Delivery;
class EventFeed;

struct InterfaceFacts {
  std::string name;
  bool managed = false;
  bool up = false;
  bool nextStart = false;  ///< what the stored flag asks for
};

struct ControllerFacts {
  std::string letter;
  bool isThis = false;
  bool isValid = false;  ///< what is known of it holds at present
  std::string address = {}, mac = {}, serial = {}, firmware = {}, bundle = {}, cpld = {};
  std::string midplane = {}, lastLoaded = {}, lastPaired = {};  ///< the pairing records
};

struct AccountFacts {
  std::string name;
  std::string rights;
  bool mayLogIn = false;
};

struct ListenerFacts {
  std::string id;
  std::string user;
};

struct Snapshot {
  std::int64_t now = 0;            ///< the host's timestamp
  std::int64_t uptimeSeconds = 0;  ///< of the service
  std::string dateTime;            ///< the wall clock's, ISO 8601
  char letter = 'A';
  bool controlsDaemons = false;
  bool knowsPaths = false, innerUp = false, outerUp = false;
  std::string midplane;
  std::string role, partnerRole;  ///< of the pairing
  std::optional<app::PairingStory> story;
  int httpPort = 0, httpsPort = 0;
  std::string certificate;  ///< of the TLS listener, PEM
  std::int64_t sessionSeconds = 0;
  std::vector<ControllerFacts> controllers;
  std::vector<app::DaemonReport> daemons;  ///< as of the last scan, unless details are asked for
  std::vector<app::HistoryEntry> history;  ///< of the daemons, the oldest first
  std::optional<app::PartnerSummary> partner;  ///< what it last told
  std::vector<InterfaceFacts> interfaces;
  std::vector<AccountFacts> accounts;
  std::vector<Login::Session> sessions;
  std::vector<Audit::Record> audit;
  std::vector<RecentLines::Line> lines;
  std::vector<app::memtrack_> samples;  ///< of the memory, the oldest first
  std::vector<framework::ManagedLogsReport> managedLogs;
  std::vector<ListenerFacts> listeners;  ///< of events
  std::vector<SubscriptionFacts> subscriptions;
  int retryAttempts = 0, retrySeconds = 0;  ///< of what is sent to those

  /// The daemons without what follows from their histories.
  std::vector<const app::ProcessView*> views() const;
  const ControllerFacts* controller(const std::string& wanted) const;
  const app::DaemonReport* daemon(const std::string& name) const;
  const InterfaceFacts* interface(const std::string& name) const;
};

/// What is read beside the system information; each takes locks of its own, one after the other.
enum Needs : unsigned int {
  SystemAlone = 0,
  Daemons = 1,  ///< waits for the supervision's table
  Interfaces = 2,
  Accounts = 4,
  Sessions = 8,
  AuditRecords = 16,
  LogLines = 32,
  Pairing = 64,
  Listeners = 128,
  Details = 256,  ///< of the daemons
  History = 512,
  Samples = 1024,
  ManagedLogs = 2048,
  Restarts = 4096,  ///< the history of all daemons
  /// What only those members of a collection need that are shown whole.
  OfWhole = Details | Samples,
  Certificate = 8192,
};

/// Where a snapshot is taken from, beside the singletons of the services.
struct Sources {
  Audit& audit;
  Login& login;
  RecentLines& lines;
  EventFeed& feed;
  std::int64_t start;            ///< the host's timestamp
  Delivery* delivery = nullptr;  ///< null: nothing is sent to listeners
};

/// `only` names the daemon whose details and history are read, or the log that is; empty for all.
Snapshot readSnapshot(const Sources& sources, unsigned int needs, const std::string& only = "");

/// The same of the daemons alone.
void readDaemons(Snapshot& snapshot, unsigned int needs, const std::string& only);

/// A timestamp of the host as ISO 8601, as the wall clock shows it.
std::string isoTime(std::int64_t timestamp);
std::string isoTime(const utility::DateTime& time);

}  // namespace services::web
