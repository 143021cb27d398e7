// The controller's managed-logs reporting function and the record of its reports.
#pragma once

#include <cstdint>
#include <vector>

/// Reports a managed-logs event by its code. 0 on success. Any thread may call.
extern "C" int logManagedLogsEvent(int code, int component);

namespace framework {

/// One report that was made.
struct ManagedLogsReport {
  std::int64_t time;  ///< host timestamp
  int code;
  int component;
};

/// The latest reports, at most 100, the oldest first.
std::vector<ManagedLogsReport> managedLogsReports();

}  // namespace framework
