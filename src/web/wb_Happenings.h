// What happens on the controller: messages of the registry, with what they are about.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "web/wb_Snapshot.h"

namespace services::app {
struct FailingDaemon;
struct HistoryEntry;
class memtrack_;
}  // namespace services::app

namespace services::web {

/// Something that happened.
struct Happening {
  const char* message;  ///< its id in messages()
  std::vector<std::string> arguments;
  std::string origin;   ///< the path of the resource
  std::int64_t at = 0;  ///< the host's timestamp
};

/// What changed from one snapshot to the next, of what both hold.
std::vector<Happening> happenings(const Snapshot& before, const Snapshot& now);

/// An entry of the daemons' history; `manager` is the path of this controller.
Happening happeningOf(const app::HistoryEntry& entry, const std::string& manager);

/// Which daemons began to fail, and which do not any more.
std::vector<Happening> flapping(const std::vector<app::FailingDaemon>& before,
                                const std::vector<app::FailingDaemon>& now,
                                const std::string& manager, std::int64_t at);

/// A sample of the memory.
Happening happeningOf(const app::memtrack_& sample, std::int64_t at);

/// A line of the log.
Happening happeningOf(const RecentLines::Line& line, const std::string& manager);

/// The path of the controller that answers.
std::string managerPath(char letter);

}  // namespace services::web
