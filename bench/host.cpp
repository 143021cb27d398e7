// The daemon as a whole, in a controller's root where no other runs: how long it takes to its first
// finished cycle, and what its memory consists of.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "Herd.h"

namespace {

constexpr int herdSize = 300;
constexpr const char* cycleEnd = "done monitoring processes";

// mchost with the controller's configuration, its log to be read.
class Host {
 public:
  Host();
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  pid_t pid() const { return m_pid; }
  // Reads the log up to a line that holds the text; ends the program when the log ends before.
  void await(const std::string& text);

 private:
  pid_t m_pid = -1;
  std::FILE* m_log = nullptr;
};

Host::Host() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) std::exit(EXIT_FAILURE);
  std::array<std::string, 3> words = {"/opt/mc/bin/mchost", "--config", "/cfg/mc.toml"};
  std::array<char*, 4> arguments = {words[0].data(), words[1].data(), words[2].data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  ::posix_spawn(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  m_log = ::fdopen(ends[0], "r");
}

Host::~Host() {
  ::kill(m_pid, SIGTERM);
  std::fclose(m_log);
  ::waitpid(m_pid, nullptr, 0);
}

void Host::await(const std::string& text) {
  std::array<char, 16384> line{};
  while (std::fgets(line.data(), line.size(), m_log) != nullptr) {
    if (std::string(line.data()).find(text) != std::string::npos) return;
  }
  std::fprintf(stderr, "error: mchost ended\n");
  std::exit(EXIT_FAILURE);
}

void startUp(benchmark::State& state) {
  while (state.KeepRunning()) {
    auto host = std::make_unique<Host>();
    host->await(cycleEnd);
    state.PauseTiming();
    host.reset();
    state.ResumeTiming();
  }
}

// What a mapping is counted as.
std::string kindOf(const std::string& path, const std::string& permissions) {
  if (path == "[heap]") return "heap";
  if (path.empty() || path[0] == '[') return "stacks and other anonymous";
  const std::string owner = path.starts_with("/opt/mc/") ? "own" : "libraries'";
  return owner + (permissions[1] == 'w' ? " data" : " text and constants");
}

// The proportional memory of a process by kind of mapping, in KiB (proc(5), smaps).
std::map<std::string, double> proportionalMemory(pid_t pid) {
  std::map<std::string, double> sums;
  std::ifstream file("/proc/" + std::to_string(pid) + "/smaps");
  std::string kind;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string first;
    words >> first;
    if (first.find('-') != std::string::npos && first.back() != ':') {
      std::string permissions, offset, device, inode, path;
      words >> permissions >> offset >> device >> inode >> path;
      kind = kindOf(path, permissions);
    } else if (first == "Pss:" || first == "Rss:") {
      double size = 0;
      words >> size;
      if (first == "Pss:") sums["PSS, " + kind] += size;
      sums[first == "Pss:" ? "PSS" : "RSS"] += size;
    }
  }
  return sums;
}

// Once the host has let go of what its first cycles alone needed, and some cycles later.
void memory(benchmark::State& state) {
  constexpr int cycles = 20;  // of two seconds
  while (state.KeepRunning()) {
    Host host;
    for (int cycle = 0; cycle < cycles; ++cycle) host.await(cycleEnd);
    for (const auto& [kind, size] : proportionalMemory(host.pid())) {
      state.counters[kind] = size;
    }
  }
}

BENCHMARK(startUp)->Name("start-up")->Iterations(10)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(memory)->Name("memory")->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int count, char** words) {
  benchmark::Initialize(&count, words);
  const bench::Herd herd(herdSize);
  benchmark::RunSpecifiedBenchmarks();
  return EXIT_SUCCESS;
}
