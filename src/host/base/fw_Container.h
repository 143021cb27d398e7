// What the host process offers to its services as a whole: shell commands, delays, the console.
#pragma once

#include <cstdint>
#include <memory>

namespace framework {

class Console;
class InputStream;
class OutputStream;

class Container {
 public:
  /// Runs a shell command line and answers its exit status, 0 for success.
  ///
  /// A line that ends with " &" is run whole, without that ending, in the background: the answer
  /// is 0 as soon as it has started. Such commands of one init script, a path under
  /// /app/etc/init.d, run one at a time in the order of the calls, so that the last one decides
  /// what the daemon does; each has 30 s, then the next begins beside it, which is logged.
  /// Otherwise the call waits, and what the command prints goes to `output` as far as there is
  /// room. Null streams stand for /dev/null. A command that passes the time limit is killed with
  /// its process group, an error is logged and the answer is not 0. Any thread may call.
  static int spawn(const char* commandLine, InputStream* input, OutputStream* output);

  /// The same for a line that ends with " &", without streams: lets go of `held` when the command
  /// has ended.
  static int spawnHolding(const char* commandLine, std::shared_ptr<const void> held);

  /// Queues a signal with an integer value to a process, as sigqueue(3). 0, or -1 with errno.
  static int queueSignal(int pid, int signal, int value);

  /// The time that one foreground command may take, in seconds. Set before services are built.
  static void setCommandLimit(int seconds);

  /// The host's console; null before it exists.
  static Console* getConsole();
  static void setConsole(Console* console);
};

/// While it lives, all foreground commands of its thread share one command limit, so that a row of
/// commands that hang cannot hold the thread longer than one; half a second is left to each command
/// when the limit is used up. Budgets do not nest.
class CommandBudget {
 public:
  CommandBudget();
  ~CommandBudget();
  CommandBudget(const CommandBudget&) = delete;
  CommandBudget& operator=(const CommandBudget&) = delete;
};

}  // namespace framework

/// Blocks the caller for a number of system ticks of 10 milliseconds each.
void taskDelay(int ticks);
