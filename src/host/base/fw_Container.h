// What the host process offers to its services as a whole: shell commands, delays, the console.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace utility {
struct CommandOutcome;
class ExitWatch;
}  // namespace utility

namespace framework {

class Console;
class InputStream;
class OutputStream;

class Container {
 public:
  /// Runs a shell command line and answers its exit status, 0 for success.
  ///
  /// A line that ends with " &" is run whole, without that ending, in the background: the answer
  /// is 0 at once. Such commands of one init script, a path under /app/etc/init.d, run one at a
  /// time in the order of the calls, so that the last one decides what the daemon does; each has 30
  /// s, then the next begins beside it. Of all at most 64 run that have not had their 30 s.
  /// Otherwise the call waits, and what the command prints goes to `output` as far as there is
  /// room. Null streams stand for /dev/null. A command that passes the time limit is killed with
  /// its process group, an error is logged and the answer is not 0. Any thread may call.
  static int spawn(const char* commandLine, InputStream* input, OutputStream* output);

  /// Told what becomes of a command: of each its end, of one in the background before that it waits
  /// since very many run, and that it still runs after 30 s. Any thread may call, and lets go of it
  /// once the command has ended.
  using Told = std::function<void(const utility::CommandOutcome&)>;

  /// What stands for a command's failure, beside another status than 0.
  enum class Fault {
    Status,         ///< nothing else
    StandardError,  ///< that it wrote to its standard error: the status is another program's
    CallersAffair   ///< the caller, who is told the outcome, tells it; there is no warning line
  };

  /// Runs a command for a daemon, without streams: as spawn(), and a failure, a wait and a run
  /// of more than 30 s in the background are warning lines with what is known of the outcome,
  /// unless that is the caller's affair.
  static int spawnFor(const char* commandLine, Fault fault, Told told = nullptr);

  /// Keeps what a process has written to a standard error that it got from such a command within
  /// 64 KiB, as far as that is not written between two calls.
  static void boundErrorOutput(int pid);

  /// Makes a watch for the ends of processes, which calls `woken`.
  static std::shared_ptr<utility::ExitWatch> watchExits(std::function<void()> woken);

  /// Queues a signal with an integer value to a process, as sigqueue(3). 0, or -1 with errno.
  static int queueSignal(int pid, int signal, int value);

  /// The time that one foreground command may take, in seconds. Set before services are built.
  static void setCommandLimit(int seconds);
  static int commandLimit();

  /// The host's console; null before it exists.
  static Console* getConsole();
  static void setConsole(Console* console);
};

/// While it lives, all foreground commands of its thread share one limit, so that a row of commands
/// that hang cannot hold the thread longer than one; half a second is left to each command when the
/// limit is used up. Budgets do not nest.
class CommandBudget {
 public:
  explicit CommandBudget(int seconds = Container::commandLimit());
  ~CommandBudget();
  CommandBudget(const CommandBudget&) = delete;
  CommandBudget& operator=(const CommandBudget&) = delete;
};

}  // namespace framework

/// Blocks the caller for a number of system ticks of 10 milliseconds each.
void taskDelay(int ticks);
