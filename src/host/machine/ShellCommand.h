// One shell command: starting it, reading what it prints, waiting for its end.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "host/machine/Descriptor.h"
#include "host/machine/Platform.h"

namespace platform {

/// A child process that runs `/bin/sh -c LINE`: in a session of its own, with default signal
/// dispositions, nothing blocked, umask 022, the descriptor limit of the start, no score that
/// spares it when memory is short, no inherited descriptors, and /dev/null where no stream is
/// given, nor for the output of a detached command, which nobody reads. The child is reaped by
/// waitFor(), or by whom release() hands it to.
class ShellCommand {
 public:
  /// Starts the command. When it cannot be started or watched, started() is false.
  explicit ShellCommand(const Command& command);

  bool started() const { return m_pid > 0; }

  /// Passes the command's output on until the shell exits, then reaps it. Past `limit`
  /// microseconds, or once `abort` becomes readable, its process group is killed first.
  Result waitFor(std::int64_t limit, int abort);

  /// A descriptor that becomes readable when the shell has exited, its pid, and what is held until
  /// then.
  struct Running {
    pid_t pid;
    Descriptor exited;
    std::shared_ptr<const void> held;
  };
  Running release();

 private:
  void start(const Command& command, int input, int output);
  void watch();
  /// Sends on what can be read, at most one pipe full; false at the end of the output.
  bool passOutput();
  Outcome waitForExit(std::int64_t limit, int abort);

  pid_t m_pid = -1;
  Descriptor m_exited;
  Descriptor m_read;
  framework::OutputStream* m_output;
  std::shared_ptr<const void> m_held;
};

}  // namespace platform
