// The controller's managed-logs reporting function and the record of its reports.
#pragma once

#include <cstddef>
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
  std::uint64_t number = 0;  ///< from 1, in the order of their making
};

constexpr std::size_t mostManagedLogsReports = 100;

/// The latest reports, the oldest first.
std::vector<ManagedLogsReport> managedLogsReports();

}  // namespace framework
