// The logs: the host's lines, what clients of the web did, what happened to the
// daemons, and the managed-logs reports.
#include <algorithm>
#include <boost/json/array.hpp>

#include "host/base/st_StringRepository.h"
#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using boost::json::object;

namespace {

object entryOf(std::int64_t time, const char* severity, const std::string& text) {
  return {{"EntryType", "Oem"},
          {"OemRecordFormat", "Mc"},
          {"Created", isoTime(time)},
          {"Severity", severity},
          {"Message", text}};
}

object shown(const Snapshot&, const RecentLines::Line& line) {
  const char* severity = line.type == framework::LogType::Error     ? "Critical"
                         : line.type == framework::LogType::Warning ? "Warning"
                                                                    : "OK";
  return entryOf(line.time, severity, line.text);
}

object shown(const Snapshot&, const Audit::Record& record) {
  object entry =
      entryOf(record.time, record.refused ? "Warning" : "OK",
              (record.user.empty() ? "somebody unknown" : record.user) + " from " + record.address +
                  ": " + (record.refused ? "refused: " : "") + record.what);
  entry["Originator"] = orNull(record.user);
  entry["OriginatorType"] = "Client";
  return entry;
}

object shown(const Snapshot& now, const app::HistoryEntry& happened) {
  const auto nameOf = strings::StringRepository::toString;
  const bool isBad = happened.restart || happened.to == app::Process::Down;
  const bool isChange = happened.from != happened.to;
  const std::string change =
      isChange ? std::string(nameOf(happened.from)) + " to " + nameOf(happened.to) + ", " : "";
  const std::string outcome = happened.outcome.empty() ? "" : "; " + happened.outcome;
  object entry = entryOf(
      happened.at, isBad ? "Warning" : "OK",
      happened.daemon + ": " + change + happened.what + " (" + happened.cause + ")" + outcome);
  entry["Links"] =
      object{{"OriginOfCondition", link(std::string("/redfish/v1/Managers/") + now.letter +
                                        "/Oem/Mc/Daemons/" + happened.daemon)}};
  return entry;
}

object shown(const Snapshot&, const framework::ManagedLogsReport& report) {
  return entryOf(report.time, "OK",
                 "managed-logs event " + std::to_string(report.code) + " of component " +
                     std::to_string(report.component));
}

template <auto records>
Keys numbersOf(const Snapshot& now) {
  Keys numbers;
  for (const auto& record : now.*records) numbers.push_back(std::to_string(record.number));
  return numbers;
}

template <auto records>
object entryAt(const Snapshot& now, std::uint64_t number) {
  const auto& all = now.*records;
  return shown(now, *std::ranges::find_if(
                        all, [number](const auto& record) { return record.number == number; }));
}

struct Log {
  const char* id;
  std::size_t most;  // records
  Keys (*numbers)(const Snapshot& now);
  object (*entry)(const Snapshot& now, std::uint64_t number);
};

template <auto records>
constexpr Log logOf(const char* id, std::size_t most) {
  return {id, most, numbersOf<records>, entryAt<records>};
}

constexpr Log all[] = {
    logOf<&Snapshot::lines>("Log", RecentLines::most),
    logOf<&Snapshot::audit>("Audit", Audit::most),
    logOf<&Snapshot::history>("Restarts", app::History::maxEntriesOfAll),
    logOf<&Snapshot::managedLogs>("ManagedLogs", framework::mostManagedLogsReports),
};

const Log& logAt(const std::string& id) {
  return *std::ranges::find_if(all, [&](const Log& log) { return id == log.id; });
}

Keys logs(const Snapshot& now, const Keys& before) {
  const ControllerFacts* facts = now.controller(before[0]);
  Keys ids;
  if (facts == nullptr || !facts->isThis) return ids;
  for (const Log& log : all) ids.emplace_back(log.id);
  return ids;
}

object service(const Snapshot& now, const Keys& keys) {
  return {{"ServiceEnabled", true},
          {"Status", status("Enabled", "OK")},
          {"DateTime", now.dateTime},
          {"DateTimeLocalOffset", "+00:00"},
          {"MaxNumberOfRecords", logAt(keys[1]).most},
          {"OverWritePolicy", "WrapsWhenFull"},
          {"Entries",
           link("/redfish/v1/Managers/" + keys[0] + "/LogServices/" + keys[1] + "/Entries")}};
}

Keys entries(const Snapshot& now, const Keys& before) { return logAt(before[1]).numbers(now); }

object entry(const Snapshot& now, const Keys& keys) {
  return logAt(keys[1]).entry(now, std::stoull(keys[2]));
}

constexpr Resource resources[] = {
    {"/redfish/v1/Managers/{}/LogServices/{}", "LogService.v1_8_0.LogService", "{}", SystemAlone,
     service, logs, http::Access::Read, "Log Service Collection"},
    {"/redfish/v1/Managers/{}/LogServices/{}/Entries/{}", "LogEntry.v1_18_0.LogEntry",
     "Log entry {}", LogLines | AuditRecords | Restarts | ManagedLogs, entry, entries,
     http::Access::Read, "Log Entries", true},
};

}  // namespace

std::span<const Resource> logResources() { return resources; }

}  // namespace services::web
