// The machine behind one interface: clock and waits, files, commands, signals.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "util/ut_CommandOutcome.h"
#include "util/ut_ExitWatch.h"
#include "util/ut_System.h"
#include "util/ut_WaitPoint.h"

namespace framework {
class InputStream;
class OutputStream;
}  // namespace framework

namespace platform {

using utility::WaitPoint;

/// How a command ended.
enum class Outcome { Exited, NotStarted, TimedOut, Aborted };

/// A shell command line to run.
struct Command {
  const char* line = nullptr;                 ///< what `/bin/sh -c` is given
  bool detached = false;                      ///< do not wait for its end
  framework::InputStream* input = nullptr;    ///< its standard input; null: /dev/null
  framework::OutputStream* output = nullptr;  ///< takes its standard output; null: /dev/null. Not
                                              ///< used by a detached command
  std::int64_t limit = 0;       ///< microseconds that a foreground command may take; one in the
                                ///< background is told past them, and holds nobody up any longer
  const char* queue = nullptr;  ///< detached commands of one queue take turns; null: of none
  bool keepsError = false;      ///< the outcome is to have the last line of its standard error,
                                ///< which else goes to /dev/null
  /// Told what becomes of the command: that it has ended, and of a detached one before, as far as
  /// that comes to pass, that it waits since very many run and that it runs past its limit. Then it
  /// is let go of. Any thread may call, without a lock of the machine.
  std::function<void(const utility::CommandOutcome&)> told = {};
};

struct Result {
  Outcome outcome = Outcome::Exited;
  int status = 0;  ///< exit status, 128 + signal for a command that a signal ended; 0 if detached,
                   ///< whose outcome is told
};

/// All that the host and its services take from the machine. The Linux implementation is the real
/// thing; the simulated one runs tests in simulated time. Any thread may call any operation.
class Platform : public utility::System {
 public:
  /// Waits until the point is signalled or broadcast, at most `microseconds`. The caller holds
  /// `point.mutex`; it is released while waiting and held again on return. A signal given before
  /// the call ends it at once. The wait consumes the signal that ends it.
  virtual void wait(WaitPoint& point, std::int64_t microseconds) = 0;

  /// Blocks the caller for `microseconds`.
  virtual void delay(std::int64_t microseconds) = 0;

  /// Runs a command in a session of its own and, unless it is detached, waits for its end. What
  /// it prints past the room in `output` is drained and dropped.
  ///
  /// Detached commands begin in the order of the calls, but for two reasons to wait: of one queue
  /// each begins once the one before it has ended, or has run for its limit and goes on beside it;
  /// and of all at most 64 run that have not passed their limit.
  virtual Result run(const Command& command) = 0;

  /// Waits until every detached command has begun, or abortCommands() was called.
  virtual void finishCommands() = 0;

  /// Kills the process groups of all foreground commands, those running and those yet to come:
  /// the host's stop deadline has passed. Detached commands that have not begun are left to shells
  /// that outlive the process and keep the order of each queue.
  virtual void abortCommands() = 0;

  /// Queues a signal with an integer value to a process, as sigqueue(3). 0, or -1 with errno.
  virtual int queueSignal(int pid, int signal, int value) = 0;

  /// Makes a watch for the ends of processes, which calls `woken`.
  virtual std::unique_ptr<utility::ExitWatch> watchExits(std::function<void()> woken) = 0;

  /// The machine in force: the installed one, else Linux.
  static Platform& current();

  /// Puts another machine in force, null for Linux again. The caller keeps it alive until then and
  /// calls while no other thread runs.
  static void install(Platform* platform);
};

}  // namespace platform
