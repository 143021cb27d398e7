// What the host answers to "--json COMMAND", as values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mcsh {

/// A daemon of "process list".
struct DaemonLine {
  std::string name = {};
  std::string state = {};
  std::int64_t seconds = 0;  ///< in that state
  std::int64_t restartsLastDay = 0;
  std::int64_t dataKilobytes = 0;
  bool suspended = false;
  std::string marks = {};     ///< empty for none
  std::string nextStep = {};  ///< empty for none
};

struct DaemonListing {
  std::vector<DaemonLine> daemons;
  std::vector<std::string> remarks;  ///< beside the list, a line each
};

/// A piece of what "log tail" or "events" told.
struct Tail {
  std::vector<std::string> lines;
  std::int64_t last = 0;     ///< the number to go on after
  std::int64_t skipped = 0;  ///< how many lines were lost before these
};

/// Each throws a std::runtime_error where the text is no such answer.
DaemonListing daemonsOf(const std::string& json);
Tail tailOf(const std::string& json);

}  // namespace mcsh
