// The controller's managed-logs reporting function and the record of its reports.
#include "host/service/fw_ManagedLogs.h"

#include <mutex>

#include "util/ut_TimeMeasure.h"

namespace {

struct Record {
  std::mutex mutex;
  std::vector<framework::ManagedLogsReport> reports;
  std::uint64_t made = 0;
};

Record& record() {
  static Record only;
  return only;
}

}  // namespace

extern "C" int logManagedLogsEvent(int code, int component) {
  const std::lock_guard lock(record().mutex);
  auto& reports = record().reports;
  if (reports.size() == framework::mostManagedLogsReports) reports.erase(reports.begin());
  reports.push_back({utility::TimeMeasure::getTimestamp(), code, component, ++record().made});
  return 0;
}

namespace framework {

std::vector<ManagedLogsReport> managedLogsReports() {
  const std::lock_guard lock(record().mutex);
  return record().reports;
}

}  // namespace framework
