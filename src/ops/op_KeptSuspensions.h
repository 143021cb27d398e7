// The suspensions that operators made, kept over the host's restarts.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "app/supervision/app_AppManager.h"

namespace services::ops {

/// A file beside the store that holds them until they end or somebody takes them back or over.
///
/// A line each: the daemon, the seconds that were left (0: no end), by whom and why, with tabs
/// between. The first line tells when that was, by the wall clock; a clock that is before it counts
/// as standing there.
class KeptSuspensions {
 public:
  static KeptSuspensions& instance();

  /// Sets again what the file holds, and keeps it so from then on. What is over, of a daemon that
  /// is not configured or unreadable is left out with a line in the log; a file with such lines is
  /// set aside. Call once for a supervision service, within its start-up period.
  void restore(app::AppManager& manager);

  /// Why the suspensions in force are not all in the file; empty when they are. Any thread may
  /// call.
  std::string problem() const;

 private:
  using Suspensions = std::map<std::string, app::Suspension>;

  void keep(const app::AppManager& manager);

  mutable std::mutex m_mutex;  // held while the file is written, so that the last change stands
  Suspensions m_written;
  std::string m_problem;
};

}  // namespace services::ops
