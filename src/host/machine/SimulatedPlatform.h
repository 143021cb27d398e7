// A machine for tests: its time moves only when somebody waits.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/machine/Platform.h"

namespace platform {

/// A machine with a clock of its own, its files under a temporary directory, and commands that are
/// recorded instead of run. It puts itself in force while it lives.
///
/// A wait moves the clock to the nearer of its deadline and the next happening, runs what is due
/// in the order (time, sequence of scheduling), and returns at the deadline or on a signal. All
/// calls but Platform's are for one thread; waits by several threads at once are not for it.
class SimulatedPlatform : public Platform {
 public:
  /// What a scripted command does: may change the machine, may print to the command's output. Its
  /// answer is told; TimedOut of a detached one stands for a command that still runs, whose end the
  /// effect tells later.
  using Effect = std::function<Result(const Command&)>;

  struct Ran {
    std::int64_t at;  ///< seconds since the start
    std::string line;
    bool detached;
    bool operator==(const Ran&) const = default;
  };

  struct Signalled {
    int pid;
    int signal;
    int value;
    bool operator==(const Signalled&) const = default;
  };

  SimulatedPlatform();
  ~SimulatedPlatform() override;

  std::int64_t now() override { return m_now; }
  std::int64_t wallOffset() override { return m_wallOffset; }
  const char* locate(const char* path, char* buffer, std::size_t size) override;
  void wait(WaitPoint& point, std::int64_t microseconds) override;
  void delay(std::int64_t microseconds) override;
  Result run(const Command& command) override;
  void finishCommands() override {}
  void abortCommands() override {}
  int queueSignal(int pid, int signal, int value) override;
  std::unique_ptr<utility::ExitWatch> watchExits(std::function<void()> woken) override;

  /// Microseconds since the start.
  std::int64_t elapsed() const { return m_now - start; }
  /// Runs `happening` once, at this many microseconds since the start.
  void at(std::int64_t microseconds, std::function<void()> happening);
  /// Lets time pass outside of any wait, happenings included.
  void pass(std::int64_t microseconds);
  /// Lets time pass that nobody notices: what was due then happens, late, in the next wait.
  void stall(std::int64_t microseconds) { m_now += microseconds; }
  /// Steps the wall clock; the clock that never steps goes on.
  void setWallOffset(std::int64_t microseconds) { m_wallOffset = microseconds; }

  /// Tells those who watch that a process has ended.
  void endProcess(int pid);

  /// The temporary directory that stands for "/".
  const std::string& root() const { return m_root; }

  /// From now on commands that begin with `prefix` have this effect; others succeed and do
  /// nothing. The longest prefix wins.
  void onCommand(const std::string& prefix, Effect effect);
  const std::vector<Ran>& commands() const { return m_commands; }
  const std::vector<Signalled>& signals() const { return m_signals; }

 private:
  static constexpr std::int64_t start = 1700000000LL * 1000000;

  class Watch;

  bool runNext(std::int64_t deadline);

  std::int64_t m_now = start;
  std::int64_t m_wallOffset = 0;
  std::string m_root;
  unsigned int m_sequence = 0;
  std::map<std::pair<std::int64_t, unsigned int>, std::function<void()>> m_happenings;
  std::set<Watch*> m_watches;
  std::map<std::string, Effect> m_effects;
  std::vector<Ran> m_commands;
  std::vector<Signalled> m_signals;
};

}  // namespace platform
