// The rules by which a daemon's state changes after each scan: a table, and nothing but values.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "app/supervision/app_Process.h"

namespace services::app {

/// What the rules look at, for one daemon.
struct StateFacts {
  Process::State state;
  int stateSeconds;   ///< whole seconds in that state
  bool hasInstances;  ///< the scan found at least one instance
  bool suspended;
  bool restarting;      ///< a restart was asked for and has not been seen to happen
  bool newGeneration;   ///< no instance is one that ran when the restart was asked for
  bool processControl;  ///< the service may start daemons
  bool startUpPeriod;   ///< the first minutes of the service
  int noKillSeconds;    ///< how long a daemon that is going down may keep running
  bool operator==(const StateFacts&) const = default;
};

/// What is to be done, in this order.
struct StateAction {
  bool considerRestart = false;                        ///< worth a debug line
  bool kill = false;                                   ///< kill the instances
  bool restart = false;                                ///< report the restart and start the daemon
  std::optional<Process::State> enter = std::nullopt;  ///< the state to enter, or to enter anew
  bool clearRestarting = false;
  bool again = false;  ///< apply the rules once more in the new state
  bool soon = false;   ///< the next cycle follows after a short wait
};

/// A fact that a rule asks for.
struct StateCondition {
  bool (*holds)(const StateFacts& facts);
  const char* text;
  /// Of one that holds once the state has lasted for more than these seconds; else null.
  int (*limit)(const StateFacts& facts) = nullptr;
};

/// A row of the table.
struct StateRule {
  Process::State state;
  std::array<const StateCondition*, 6> when;  ///< null behind the last
  const char* text;                           ///< what becomes of the daemon
  StateAction action;
};

/// The rule that decides: the first of the state whose conditions all hold. Null when there is
/// nothing to do.
const StateRule* decidingRule(const StateFacts& facts);

/// The rules that would decide in this state if the facts that each lacks changed. One that only
/// waits for another is none of them.
std::vector<const StateRule*> nextRules(const StateFacts& facts);

/// The conditions of a rule that hold, or those that do not.
std::vector<const StateCondition*> conditionsOf(const StateRule& rule, const StateFacts& facts,
                                                bool hold);

/// In how many seconds a rule decides if nothing but time passes; none when more must change.
std::optional<int> secondsUntil(const StateRule& rule, const StateFacts& facts);

}  // namespace services::app
