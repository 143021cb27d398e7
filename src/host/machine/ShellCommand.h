// One shell command: starting it, reading what it prints, waiting for its end.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "host/machine/Descriptor.h"
#include "host/machine/ErrorFile.h"
#include "host/machine/Platform.h"

namespace platform {

/// A child process that runs `/bin/sh -c LINE`: in a session of its own, with default signal
/// dispositions, nothing blocked, umask 022, the descriptor limit of the start, no score that
/// spares it when memory is short, no inherited descriptors, and /dev/null where no stream is
/// given, nor for the output of a detached command, which nobody reads. Its standard error is kept
/// where that is asked for. The child is reaped by waitFor(), or by whom release()
/// hands it to.
class ShellCommand {
 public:
  /// Starts the command. When it cannot be started or watched, started() is false.
  explicit ShellCommand(const Command& command);

  bool started() const { return m_pid > 0; }

  /// Passes the command's output on until the shell exits, then reaps it. Past `limit`
  /// microseconds, or once `abort` becomes readable, its process group is killed first.
  Result waitFor(std::int64_t limit, int abort);

  /// The last line of its standard error up to now.
  std::string lastError() const { return m_error.lastLine(); }

  /// Its pid, a descriptor that becomes readable when the shell has exited, and its standard error.
  struct Running {
    pid_t pid = 0;
    Descriptor exited = Descriptor();
    ErrorFile error = {};
  };
  Running release();

  /// Waits for the end of a child that was handed over, which is near, and reaps it. Answers as
  /// Result's status.
  static int reap(pid_t pid);

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
  ErrorFile m_error;
};

/// What to tell of a command that began at a timestamp and has ended now.
utility::CommandOutcome outcomeOf(const Result& result, std::int64_t begun, std::string error);

}  // namespace platform
