// The rules by which a daemon's state changes after each scan: a table, and nothing but values.
#pragma once

#include <optional>

#include "app/supervision/app_Process.h"

namespace services::app {

/// What the rules look at, for one daemon.
struct StateFacts {
  Process::State state;
  int stateSeconds;   ///< whole seconds in that state
  bool hasInstances;  ///< the scan found at least one instance
  bool suspended;
  bool restarting;       ///< a restart was asked for and has not been seen to happen
  bool newGeneration;    ///< no instance is one that ran when the restart was asked for
  bool restartsAllowed;  ///< the service controls processes and its start-up period is over
  bool startUpPeriod;    ///< the first minutes of the service
  int noKillSeconds;     ///< how long a daemon that is going down may keep running
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

/// Applies the rules.
StateAction decideState(const StateFacts& facts);

}  // namespace services::app
