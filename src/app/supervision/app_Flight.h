// The flight recorder: what the state pass decided on, cycle by cycle, and the same decided again.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/supervision/app_StatePass.h"

namespace services::app {

/// What the state pass saw of a daemon, and what it decided.
struct FlightFacts {
  std::string daemon;
  std::int64_t at = 0;  ///< microseconds since the epoch by the wall clock
  StateFacts facts = {};
  int instances = 0;
  int pid = 0;       ///< of the first of them; 0 for none
  std::string rule;  ///< its text; empty where none held
};

/// A line of the recorder and back; nothing for a line of another kind.
std::string flightLine(const FlightFacts& flown);
std::optional<FlightFacts> flownFacts(std::string_view line);

/// A line of a command that was issued for a daemon, or was asked for by `by`.
std::string flightLine(std::int64_t at, const std::string& daemon, const std::string& command,
                       const std::string& by);

/// A line as a row of the story: time, daemon, what was seen, the rule that decided, and, where
/// this build's table decides otherwise, its rule.
struct FlightRow {
  std::string time, daemon, seen, decided, otherwise;
};
std::optional<FlightRow> replayed(std::string_view line);

}  // namespace services::app
