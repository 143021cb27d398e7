// A daemon as an operator sees it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/supervision/app_Process.h"
#include "app/supervision/app_StatePass.h"

namespace services::app {

/// A daemon that is restarted again and again.
struct FailingDaemon {
  std::string name;
  unsigned int restarts;  ///< within the configured minutes
};

/// Who leaves a daemon down, and until when.
struct Suspension {
  std::string by;
  std::string reason = {};
  std::int64_t until = 0;   ///< host timestamp; 0: until it is resumed
  bool byOperator = false;  ///< who keeps those over the host's restarts is to keep it

  bool operator==(const Suspension&) const = default;
  /// One line: "console, process 412, for 90 s: a new disk".
  std::string text() const;
};

/// What is known of a daemon's health, at one moment.
struct HealthView {
  bool asked = false;         ///< the configuration says how
  bool acts = false;          ///< one that is ill is stopped
  unsigned int failures = 0;  ///< in a row, of the present generation
  std::int64_t answered = 0;  ///< timestamp of the last answer; 0 before
  std::string problem = {};   ///< of that; empty: well

  /// One line; empty where it is not asked for.
  std::string text() const;
};

/// A copy of what is known of a daemon at one moment.
struct ProcessView {
  std::string name;
  Process::State state = Process::Unclassified;
  bool ended = false;  ///< the state is Up, but none of its processes runs any more
  bool suspended = false;
  bool restarting = false;
  unsigned int dataKilobytes = 0, codeKilobytes = 0, sharedKilobytes = 0;  ///< as last measured
  std::optional<Suspension> suspension = {};
  std::vector<int> pids = {};  ///< of the processes of the last scan that still run
  int seconds = 0;             ///< in the state
  unsigned int generation = 0;
  unsigned int failures = 0;  ///< restarts of late, where they are too many; else 0
  bool impostor = false;      ///< only strangers are left of it
  HealthView health = {};
  std::vector<std::string> conditions = {};  ///< of processes that are stopped or remains, in words
  std::shared_ptr<const DaemonCommand> lastCommand = {};  ///< null before the first
  StateFacts facts = {};                                  ///< for nextStep() and writeWhy()

  /// The state as it is shown; a daemon that has ended is never shown as Up, and
  /// one that a stranger stands for as "Up?".
  std::string stateText() const;
  /// What is to be seen at once, "FAILING 7x, STOPPED 412"; empty for nothing.
  std::string markText() const;
  /// The last command and what became of it; empty before the first.
  std::string commandText() const;
};

}  // namespace services::app
