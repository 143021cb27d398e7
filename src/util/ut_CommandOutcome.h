// What became of a shell command that was run for a daemon.
#pragma once

#include <cstdint>
#include <string>

namespace utility {

/// How far a command has come, and how it ended.
struct CommandOutcome {
  enum class Stage {
    Waiting,     ///< for its turn, or for one of the many that run to end
    Running,     ///< it has begun and not ended, as far as is known
    NotStarted,  ///< it could not be started
    Exited,      ///< with `value` as its exit status
    Signalled,   ///< ended by the signal `value`
    Killed       ///< by the host: past its time limit, or at the host's stop
  };

  Stage stage = Stage::Waiting;
  int value = 0;
  std::int64_t begun = 0;  ///< timestamp of its beginning; 0 before
  std::int64_t took = 0;   ///< microseconds from there to its end, or to this answer
  std::string error = {};  ///< the last line of its standard error, as it may be shown

  bool isEnded() const { return stage != Stage::Waiting && stage != Stage::Running; }
  /// Whether it has ended in another way than with the exit status 0.
  bool isFailed() const { return isEnded() && !(stage == Stage::Exited && value == 0); }

  /// One line: "exit status 1 after 0.2 s: address in use", "still runs after 30.0 s".
  std::string text() const;
};

}  // namespace utility
