// A machine for tests: its time moves only when somebody waits.
#include "host/machine/SimulatedPlatform.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "host/machine/ShellCommand.h"

namespace platform {

SimulatedPlatform::SimulatedPlatform() {
  const std::filesystem::path memory = "/dev/shm";  // much faster than a disk
  const bool has = std::filesystem::is_directory(memory);
  std::string name =
      ((has ? memory : std::filesystem::temp_directory_path()) / "mcsimXXXXXX").string();
  m_root = ::mkdtemp(name.data());
  Platform::install(this);
}

SimulatedPlatform::~SimulatedPlatform() {
  Platform::install(nullptr);
  std::filesystem::remove_all(m_root);
}

const char* SimulatedPlatform::locate(const char* path, char* buffer, std::size_t size) {
  const int length = std::snprintf(buffer, size, "%s%s", m_root.c_str(), path);
  return length >= 0 && static_cast<std::size_t>(length) < size ? buffer : "";
}

void SimulatedPlatform::at(std::int64_t microseconds, std::function<void()> happening) {
  m_happenings.emplace(std::pair(start + microseconds, m_sequence++), std::move(happening));
}

bool SimulatedPlatform::runNext(std::int64_t deadline) {
  if (m_happenings.empty() || m_happenings.begin()->first.first > deadline) return false;
  auto next = m_happenings.extract(m_happenings.begin());
  m_now = std::max(m_now, next.key().first);
  next.mapped()();
  return true;
}

void SimulatedPlatform::pass(std::int64_t microseconds) {
  const std::int64_t deadline = m_now + microseconds;
  while (runNext(deadline)) continue;
  m_now = std::max(m_now, deadline);
}

void SimulatedPlatform::wait(WaitPoint& point, std::int64_t microseconds) {
  const std::int64_t deadline = m_now + microseconds;
  const std::uint64_t broadcasts = point.broadcasts;
  const auto woken = [&] { return point.signalled || point.broadcasts != broadcasts; };
  while (!woken()) {
    point.mutex.unlock();
    const bool ran = runNext(deadline);
    point.mutex.lock();
    if (ran) continue;
    m_now = std::max(m_now, deadline);  // a happening may have passed it
    break;
  }
  point.signalled = false;
}

void SimulatedPlatform::delay(std::int64_t microseconds) { pass(microseconds); }

void SimulatedPlatform::onCommand(const std::string& prefix, Effect effect) {
  m_effects[prefix] = std::move(effect);
}

Result SimulatedPlatform::run(const Command& command) {
  const std::string line = command.line;
  m_commands.push_back({elapsed() / 1000000, line, command.detached});
  Effect chosen;  // a copy, since the effect may script the next one
  for (const auto& [prefix, effect] : m_effects) {
    if (line.starts_with(prefix)) chosen = effect;  // longer prefixes sort behind shorter ones
  }
  const std::int64_t begun = m_now;
  const Result result = chosen ? chosen(command) : Result{};
  utility::CommandOutcome outcome = outcomeOf(result, begun, "");
  if (command.detached && result.outcome == Outcome::TimedOut) {
    outcome.stage = utility::CommandOutcome::Stage::Running;
  }
  if (command.told) command.told(outcome);
  return command.detached ? Result{} : result;
}

int SimulatedPlatform::queueSignal(int pid, int signal, int value) {
  m_signals.push_back({pid, signal, value});
  return 0;
}

// Its time is that of the happenings; a process is its handle.
class SimulatedPlatform::Watch : public utility::ExitWatch {
 public:
  Watch(SimulatedPlatform& machine, std::function<void()> woken)
      : ExitWatch(std::move(woken)), m_machine(machine) {
    m_machine.m_watches.insert(this);
  }
  ~Watch() override { m_machine.m_watches.erase(this); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  void processEnded(int pid) {
    const auto [first, last] = m_ids.equal_range(pid);
    for (const auto& [handle, id] : std::vector(first, last)) ended(id);
  }

 private:
  int open(Id id, int pid) override {
    m_ids.emplace(pid, id);
    return pid;
  }
  void close(int handle) override { m_ids.erase(handle); }
  void arm(std::int64_t at) override {
    if (std::exchange(m_armed, at) == at) return;
    m_machine.at(at - start, [this, at, machine = &m_machine] {
      if (!machine->m_watches.contains(this) || m_armed != at) return;
      m_armed = 0;
      due();
    });
  }

  SimulatedPlatform& m_machine;
  std::multimap<int, Id> m_ids;
  std::int64_t m_armed = 0;
};

std::unique_ptr<utility::ExitWatch> SimulatedPlatform::watchExits(std::function<void()> woken) {
  return std::make_unique<Watch>(*this, std::move(woken));
}

void SimulatedPlatform::endProcess(int pid) {
  for (Watch* watch : m_watches) watch->processEnded(pid);
}

}  // namespace platform
