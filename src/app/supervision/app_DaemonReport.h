// What is told of a daemon and of its history: the values, and the names that they have wherever
// programs read them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/supervision/app_History.h"
#include "app/supervision/app_ProcessView.h"
#include "app/supervision/app_memtrack.h"
#include "util/fw_Value.h"

namespace services::app {

/// All that is known of a daemon at one moment.
struct DaemonReport {
  ProcessView view = {};
  unsigned int restartsLastHour = 0;
  unsigned int restartsLastDay = 0;
  History::Summary sums = {};
  std::vector<std::string> why = {};  ///< lines: which rule decides, and what would change it
  std::int64_t asOf = 0;              ///< host timestamp of the look
};

/// A daemon as it was seen at `now`, with what follows from its history; `why` is left empty.
DaemonReport reportOf(const ProcessView& view, const History& history, std::int64_t now);

/// What writeWhy() writes, line by line.
std::vector<std::string> whyLines(const ProcessView& view);

framework::Value::Record recordOf(const DaemonReport& daemon);
framework::Value::Record recordOf(const HistoryEntry& entry);
framework::Value::Record recordOf(const memtrack_& sample);

}  // namespace services::app
