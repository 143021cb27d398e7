// The daemons of a controller in a random history: their processes, and what commands do to them.
#pragma once

#include "support/Campaign.h"

namespace test {

/// The processes by pid, and the memory summary. Whoever uses it sets the two calls. Commands do
/// what the least regular of daemons would: some starts bring an instance, some take long, some
/// instances outlive a kill. All else comes from the story.
class SimulatedDaemons {
 public:
  struct Running {
    std::string program;
    long data;  ///< kb that it touches; -1: it cannot be measured
  };

  std::function<void(int pid)> changed = [](int) {};     ///< a process; pid 0: the summary
  std::function<void(std::int64_t milliseconds)> stall;  ///< time that nobody else notices

  std::map<int, Running> processes;
  std::string summary;

  /// What a command does to the processes; answers its exit status.
  int run(const std::string& command) {
    const int turn = m_turn += 7;
    act(command, turn);
    return std::array{0, 0, 0, 0, 1, 0, 0, 0, 0, 137}[static_cast<std::size_t>(turn % 10)];
  }

  /// What happens to the processes; nothing for other happenings.
  void happen(const Happening& one) {
    const std::vector<int> pids = pidsOf(one.who);
    const auto number = static_cast<std::size_t>(one.number);
    const int pid = pids.empty() ? 0 : pids[number % pids.size()];
    if (one.what == "appears") spawn(one.who, std::array{1, 1, 1, 2, 1, 26, 27, 31}[number % 8]);
    if (one.what == "ends") end(number % 2 == 0 ? pids : std::vector{pid});
    if (one.what == "turns") become(pid, "another");
    if (one.what == "grows") become(pid, one.who);
    if (one.what == "memory") summarise(one.number);
  }

 private:
  void act(const std::string& command, int turn) {
    std::istringstream words(command);
    std::string program, action, operand;
    words >> program >> action >> operand;
    if (program == "killall") end(pidsOf(operand));
    if (program == "kill" && turn % 3 > 0) end({std::stoi(operand)});
    if (program == "kill" && turn % 5 == 0) become(std::stoi(operand) + 1, "another");
    const std::string init = "/app/etc/init.d/";
    if (!program.starts_with(init)) return;
    const std::string daemon = program.substr(init.size(), program.size() - init.size() - 1);
    if (action != "start" && turn % 3 > 0) end(pidsOf(daemon));
    if (action != "stop" && turn % 2 > 0) spawn(daemon, 1);
    stall(std::array{0, 0, 0, 700, 0, 0, 3000, 0, 65000}[static_cast<std::size_t>(turn % 9)]);
  }

  std::vector<int> pidsOf(const std::string& program) const {
    std::vector<int> pids;
    for (const auto& [pid, process] : processes) {
      if (process.program == program) pids.push_back(pid);
    }
    return pids;
  }

  void end(const std::vector<int>& pids) {
    for (const int pid : pids) {
      if (processes.erase(pid) > 0) changed(pid);
    }
  }

  void spawn(const std::string& program, long count) {
    while (count-- > 0) {
      processes[++m_lastPid] = {};
      become(m_lastPid, program);
    }
  }

  // Exec: another program, or the same with another size. Nothing for a process that is gone.
  void become(int pid, const std::string& program) {
    const std::array sizes = {-1, 0, 25000, 25001, 1048576, 1048577, 900};
    if (!processes.contains(pid)) return;
    processes[pid] = {program, sizes[static_cast<std::size_t>(m_turn++) % sizes.size()]};
    changed(pid);
  }

  void summarise(long number) {
    const Texts totals = {"", "MemTotal: 0 kB\n", "MemTotal:  900000 kB\n", "MemTotal: 3 kB\n"};
    summary = totals[static_cast<std::size_t>(number % 4)] +
              text("MemFree: %ld kB\nBuffers:\t7 kB\n", number % 7 == 0 ? 42949673 : number);
    if (number % 5 == 0) summary.resize(1009, 'x');
    if (number % 3 > 0) summary += text("\nCached: %ld kB\nSwapCached: 9\n", 12998 + number % 3);
    summary += text("AnonPages:%ld", number % 5000);
    if (number % 13 == 0) summary.clear();
    changed(0);
  }

  int m_turn = 0;
  int m_lastPid = 100;
};

}  // namespace test
