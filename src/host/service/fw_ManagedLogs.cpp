// The controller's managed-logs reporting function and the record of its reports.
#include "host/service/fw_ManagedLogs.h"

#include <mutex>

#include "util/ut_TimeMeasure.h"

namespace {

constexpr std::size_t reportsKept = 100;

struct Record {
  std::mutex mutex;
  std::vector<framework::ManagedLogsReport> reports;
};

Record& record() {
  static Record only;
  return only;
}

}  // namespace

extern "C" int logManagedLogsEvent(int code, int component) {
  const std::lock_guard lock(record().mutex);
  auto& reports = record().reports;
  if (reports.size() == reportsKept) reports.erase(reports.begin());
  reports.push_back({utility::TimeMeasure::getTimestamp(), code, component});
  return 0;
}

namespace framework {

std::vector<ManagedLogsReport> managedLogsReports() {
  const std::lock_guard lock(record().mutex);
  return record().reports;
}

}  // namespace framework
