// The memory over time: reports of the host's memory, and of the daemons'.
#include <array>
#include <boost/json/array.hpp>

#include "web/wb_Memory.h"
#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using boost::json::array;
using boost::json::object;

namespace {

constexpr const char* base = "/redfish/v1/TelemetryService";

struct Metric {
  const char* id;
  int app::memtrack_::*value;
};
constexpr Metric metrics[] = {{"TotalBytes", &app::memtrack_::totalBytes},
                              {"UsedBytes", &app::memtrack_::usedBytes},
                              {"FreeBytes", &app::memtrack_::freeBytes},
                              {"ExtraBytes", &app::memtrack_::extraBytes},
                              {"SystemFreeKiB", &app::memtrack_::sysBytesFree},
                              {"SystemFreePercent", &app::memtrack_::sysPercentFree}};

object telemetryService(const Snapshot&, const Keys&) {
  const std::string self = base;
  return {{"ServiceEnabled", true},
          {"Status", status("Enabled", "OK")},
          {"MetricReportDefinitions", link(self + "/MetricReportDefinitions")},
          {"MetricReports", link(self + "/MetricReports")}};
}

Keys reports(const Snapshot&, const Keys&) { return {"Memory", "DaemonMemory"}; }

// The property of a daemon that is reported.
std::string propertyOf(const Snapshot& now, const app::ProcessView& daemon) {
  return std::string("/redfish/v1/Managers/") + now.letter + "/Oem/Mc/Daemons/" + daemon.name +
         "#/DataKiB";
}

array metricsOf(const Snapshot& now, bool ofDaemons) {
  array all;
  if (!ofDaemons) {
    for (const Metric& metric : metrics) all.push_back(object{{"MetricId", metric.id}});
    return all;
  }
  array properties;
  for (const app::ProcessView* daemon : now.views()) {
    properties.emplace_back(propertyOf(now, *daemon));
  }
  all.push_back(object{{"MetricId", "DataKiB"}, {"MetricProperties", std::move(properties)}});
  return all;
}

object definition(const Snapshot& now, const Keys& keys) {
  return {{"MetricReportDefinitionEnabled", true},
          {"MetricReportDefinitionType", "OnRequest"},
          {"ReportActions", array{"LogToMetricReportsCollection"}},
          {"ReportUpdates", "Overwrite"},
          {"Status", status("Enabled", "OK")},
          {"Metrics", metricsOf(now, keys[0] == "DaemonMemory")},
          {"MetricReport", link(std::string(base) + "/MetricReports/" + keys[0])}};
}

array sampleValues(const Snapshot& now) {
  array values;
  const std::size_t count = now.samples.size();
  for (std::size_t i = count > samplesAnHour ? count - samplesAnHour : 0; i < count; ++i) {
    const app::memtrack_& sample = now.samples[i];
    for (const Metric& metric : metrics) {
      values.push_back(object{{"MetricId", metric.id},
                              {"MetricValue", std::to_string(sample.*metric.value)},
                              {"Timestamp", isoTime(sample.timeStamp)}});
    }
  }
  return values;
}

// As they were last measured.
array daemonValues(const Snapshot& now) {
  array values;
  for (const app::ProcessView* daemon : now.views()) {
    values.push_back(object{{"MetricId", "DataKiB"},
                            {"MetricProperty", propertyOf(now, *daemon)},
                            {"MetricValue", std::to_string(daemon->dataKilobytes)},
                            {"Timestamp", now.dateTime}});
  }
  return values;
}

object report(const Snapshot& now, const Keys& keys) {
  return {
      {"Timestamp", now.dateTime},
      {"MetricReportDefinition", link(std::string(base) + "/MetricReportDefinitions/" + keys[0])},
      {"MetricValues", keys[0] == "Memory" ? sampleValues(now) : daemonValues(now)}};
}

constexpr Resource resources[] = {
    {"/redfish/v1/TelemetryService", "TelemetryService.v1_3_1.TelemetryService", "Telemetry",
     SystemAlone, telemetryService},
    {"/redfish/v1/TelemetryService/MetricReportDefinitions/{}",
     "MetricReportDefinition.v1_4_2.MetricReportDefinition", "What {} reports", Daemons, definition,
     reports, http::Access::Read, "Metric Report Definitions"},
    {"/redfish/v1/TelemetryService/MetricReports/{}", "MetricReport.v1_5_0.MetricReport",
     "Report {}", Daemons | Samples, report, reports, http::Access::Read, "Metric Reports"},
};

}  // namespace

std::span<const Resource> telemetryResources() { return resources; }

}  // namespace services::web
