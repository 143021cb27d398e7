// The logs: the host's lines, and what clients of the web did.
#include <boost/json/array.hpp>

#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using boost::json::object;

namespace {

Keys logs(const Snapshot& now, const Keys& before) {
  const ControllerFacts* facts = now.controller(before[0]);
  return facts != nullptr && facts->isThis ? Keys{"Log", "Audit"} : Keys{};
}

object service(const Snapshot& now, const Keys& keys) {
  return {{"ServiceEnabled", true},
          {"Status", status("Enabled", "OK")},
          {"DateTime", now.dateTime},
          {"DateTimeLocalOffset", "+00:00"},
          {"MaxNumberOfRecords", keys[1] == "Audit" ? Audit::most : RecentLines::most},
          {"OverWritePolicy", "WrapsWhenFull"},
          {"Entries",
           link("/redfish/v1/Managers/" + keys[0] + "/LogServices/" + keys[1] + "/Entries")}};
}

template <class Records>
Keys numbersOf(const Records& records) {
  Keys numbers;
  for (const auto& record : records) numbers.push_back(std::to_string(record.number));
  return numbers;
}

Keys entries(const Snapshot& now, const Keys& before) {
  return before[1] == "Audit" ? numbersOf(now.audit) : numbersOf(now.lines);
}

// The records are numbered without a gap.
template <class Records>
const auto& numbered(const Records& records, const std::string& number) {
  return records[static_cast<std::size_t>(std::stoull(number) - records.front().number)];
}

object entryOf(std::int64_t time, const char* severity, const std::string& text) {
  return {{"EntryType", "Oem"},
          {"OemRecordFormat", "Mc"},
          {"Created", isoTime(time)},
          {"Severity", severity},
          {"Message", text}};
}

object entry(const Snapshot& now, const Keys& keys) {
  if (keys[1] == "Audit") {
    const Audit::Record& record = numbered(now.audit, keys[2]);
    object shown = entryOf(record.time, record.refused ? "Warning" : "OK",
                           (record.refused ? "refused: " : "") + record.what);
    shown["Originator"] = orNull(record.user);
    shown["OriginatorType"] = "Client";
    shown["Message"] = (record.user.empty() ? "somebody unknown" : record.user) + " from " +
                       record.address + ": " + (record.refused ? "refused: " : "") + record.what;
    return shown;
  }
  const RecentLines::Line& line = numbered(now.lines, keys[2]);
  const char* severity = line.type == framework::LogType::Error     ? "Critical"
                         : line.type == framework::LogType::Warning ? "Warning"
                                                                    : "OK";
  return entryOf(line.time, severity, line.text);
}

constexpr Resource resources[] = {
    {"/redfish/v1/Managers/{}/LogServices/{}", "LogService.v1_8_0.LogService", "{}", SystemAlone,
     service, logs, http::Access::Read, "Log Service Collection"},
    {"/redfish/v1/Managers/{}/LogServices/{}/Entries/{}", "LogEntry.v1_18_0.LogEntry",
     "Log entry {}", LogLines | AuditRecords, entry, entries, http::Access::Read, "Log Entries",
     true},
};

}  // namespace

std::span<const Resource> logResources() { return resources; }

}  // namespace services::web
