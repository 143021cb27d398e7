// The cost of seeing every command line: a poll cycle, and the floors that it is held against.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <regex.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Herd.h"
#include "Machine.h"
#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_CommandLine.h"
#include "host/base/st_StringRepository.h"
#include "host/log/fw_Logger.h"
#include "host/machine/Descriptor.h"
#include "host/machine/DescriptorLimit.h"
#include "host/service/fw_Config.h"

namespace bench {
namespace {

using platform::Descriptor;
using services::app::AppManager;

constexpr int periodSeconds = 10;
// Five minutes: the memory samples and one report are among the cycles.
constexpr int cycles = 30;

int herdSize = 0;
Herd* herd = nullptr;

// The list of daemons: all by name, all by pattern or half and half. Each has one process in a herd
// of its size or more.
enum class Rules { Names, Patterns, Both };

std::vector<std::string> daemons(int count, Rules rules) {
  std::vector<std::string> entries;
  for (int i = 0; i < count; ++i) {
    std::array<char, 16> program;
    std::snprintf(program.data(), program.size(), "idle-%05d", i);
    const bool named = rules == Rules::Names || (rules == Rules::Both && i % 2 == 0);
    std::string entry = program.data();
    if (!named) entry.insert(0, "d" + entry + "/^/app/bin/").append(" .*--level [a-z]+$");
    entries.push_back(std::move(entry));
  }
  return entries;
}

utility::StringArray listOf(const std::vector<std::string>& entries) {
  utility::StringArray list;
  for (const std::string& entry : entries) list.Append(entry);
  return list;
}

// The floors. They use the kernel's calls alone.

std::vector<int> listProcesses() {
  alignas(8) static std::array<char, 65536> entries;
  std::vector<int> pids;
  const Descriptor directory(::open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  for (;;) {
    const ssize_t filled = ::getdents64(directory.get(), entries.data(), entries.size());
    if (filled <= 0) return pids;
    for (ssize_t at = 0; at < filled;) {
      const auto* entry = reinterpret_cast<const dirent64*>(entries.data() + at);
      at += entry->d_reclen;
      int pid = 0;
      std::from_chars(entry->d_name, entry->d_name + std::strlen(entry->d_name), pid);
      if (pid > 0) pids.push_back(pid);
    }
  }
}

Descriptor openCommandLine(int pid) {
  std::array<char, 32> path = {"/proc/"};
  char* const end = std::to_chars(path.data() + 6, path.data() + path.size(), pid).ptr;
  std::memcpy(end, "/cmdline", sizeof "/cmdline");
  return Descriptor(::open(path.data(), O_RDONLY | O_CLOEXEC));
}

using Text = std::array<char, 1024>;

void list(benchmark::State& state) {
  while (state.KeepRunning()) benchmark::DoNotOptimize(listProcesses());
}

void plain(benchmark::State& state) {
  Text text;
  while (state.KeepRunning()) {
    for (const int pid : listProcesses()) {
      benchmark::DoNotOptimize(::read(openCommandLine(pid).get(), text.data(), text.size()));
    }
  }
}

struct Pattern {
  explicit Pattern(const std::string& text) {
    ::regcomp(&compiled, text.c_str(), REG_EXTENDED | REG_NOSUB);
  }
  ~Pattern() { ::regfree(&compiled); }
  Pattern(const Pattern&) = delete;
  Pattern& operator=(const Pattern&) = delete;

  regex_t compiled{};
};

std::vector<std::unique_ptr<Pattern>> patterns(int count) {
  std::vector<std::unique_ptr<Pattern>> compiled;
  for (const std::string& entry : daemons(count, Rules::Patterns)) {
    compiled.push_back(std::make_unique<Pattern>(entry.substr(entry.find('/') + 1)));
  }
  return compiled;
}

void plainWithPatterns(benchmark::State& state) {
  const auto all = patterns(50);
  Text text;
  while (state.KeepRunning()) {
    for (const int pid : listProcesses()) {
      const ssize_t size = ::read(openCommandLine(pid).get(), text.data(), text.size() - 1);
      if (size < 0) continue;
      text[static_cast<std::size_t>(size)] = '\0';
      std::replace(text.data(), text.data() + size, '\0', ' ');
      for (const auto& pattern : all) {
        benchmark::DoNotOptimize(::regexec(&pattern->compiled, text.data(), 0, nullptr, 0));
      }
    }
  }
}

void kept(benchmark::State& state) {
  std::vector<Descriptor> files;
  for (const int pid : listProcesses()) files.push_back(openCommandLine(pid));
  Text text;
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(listProcesses());
    for (const Descriptor& file : files) {
      benchmark::DoNotOptimize(::pread(file.get(), text.data(), text.size(), 0));
    }
  }
}

// The poll cycle, whole: with memory samples, reports and the tracking of locks.

// Builds the service and runs the cycles that the state asks for, all but the first, which opens
// the files. Between two, `between` is called, its time not counted.
void runCycles(benchmark::State& state, const std::vector<std::string>& entries,
               const std::function<void()>& between = nullptr) {
  framework::Config config;
  config.set("AppManager.data", {.value = listOf(entries)});
  config.set("AppManager.nokill", {.value = utility::StringArray()});
  config.set("AppManager.pollSeconds", {.value = long{periodSeconds}});
  config.set("AppManager.doLockTrack", {.value = true});
  framework::Config::setConfig(config);
  Machine machine;
  AppManager manager("AppManager");
  machine.onWait([&] {
    if (!state.KeepRunning()) return manager.Shutdown();
    if (between == nullptr) return;
    state.PauseTiming();
    between();
    state.ResumeTiming();
  });
  manager.threadDo(0);
}

void steady(benchmark::State& state, int count, Rules rules) {
  runCycles(state, daemons(count, rules));
}

int newOnes() { return herdSize / 20; }

void churn(benchmark::State& state) {
  runCycles(state, daemons(50, Rules::Both), [] { herd->replace(newOnes()); });
}

// What matching as many command lines takes as are new in a cycle with churn.
void matchNew(benchmark::State& state) {
  services::app::ProcessMatcher matcher;
  std::vector<std::unique_ptr<services::app::Process>> records;
  for (const std::string& entry : daemons(50, Rules::Both)) {
    const std::size_t slash = entry.find('/');
    const char* pattern = slash == std::string::npos ? nullptr : entry.c_str() + slash + 1;
    const auto name = strings::GS.toToken(entry.substr(0, slash).c_str());
    records.push_back(std::make_unique<services::app::Process>(name, false, pattern));
    matcher.add(*records.back());
  }
  std::vector<services::app::CommandLine> lines(static_cast<std::size_t>(newOnes()));
  const std::vector<int> pids = listProcesses();
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string directory = "/proc/" + std::to_string(pids[pids.size() - 1 - i]);
    lines[i].read(directory.c_str());
  }
  while (state.KeepRunning()) {
    for (services::app::CommandLine line : lines) {
      benchmark::DoNotOptimize(matcher.find(line));
    }
  }
}

void settings(benchmark::internal::Benchmark* measured) {
  measured->Iterations(cycles)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(list)->Name("list")->Apply(settings);
BENCHMARK(plain)->Name("plain")->Apply(settings);
BENCHMARK(plainWithPatterns)->Name("plain, 50 patterns")->Apply(settings);
BENCHMARK(kept)->Name("kept")->Apply(settings);
BENCHMARK_CAPTURE(steady, both, 50, Rules::Both)->Name("steady, 50 records")->Apply(settings);
BENCHMARK(churn)->Name("churn, 50 records")->Apply(settings);
BENCHMARK(matchNew)->Name("matching of the new")->Apply(settings);
BENCHMARK_CAPTURE(steady, n5, 5, Rules::Names)->Name("steady, 5 names")->Apply(settings);
BENCHMARK_CAPTURE(steady, n50, 50, Rules::Names)->Name("steady, 50 names")->Apply(settings);
BENCHMARK_CAPTURE(steady, n500, 500, Rules::Names)->Name("steady, 500 names")->Apply(settings);
BENCHMARK_CAPTURE(steady, p5, 5, Rules::Patterns)->Name("steady, 5 patterns")->Apply(settings);
BENCHMARK_CAPTURE(steady, p50, 50, Rules::Patterns)->Name("steady, 50 patterns")->Apply(settings);
BENCHMARK_CAPTURE(steady, p500, 500, Rules::Patterns)
    ->Name("steady, 500 patterns")
    ->Apply(settings);

}  // namespace
}  // namespace bench

// mcbench-scan HERD [OPTION OF THE BENCHMARK LIBRARY]...
int main(int count, char** words) {
  benchmark::Initialize(&count, words);
  if (count != 2) return EXIT_FAILURE;
  bench::herdSize = std::atoi(words[1]);
  platform::raiseDescriptorLimit();
  framework::Logger::start({"/dev/null", framework::LogType::Info});
  bench::Herd herd(bench::herdSize);
  bench::herd = &herd;
  benchmark::RunSpecifiedBenchmarks();
  framework::Logger::stop();
  return EXIT_SUCCESS;
}
