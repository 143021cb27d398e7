// The real machine: what a command finds, its end, its output, its time limit, its children; and
// commands over a simulated one.
#include <sys/prctl.h>

#include "host/base/fw_Container.h"
#include "host/base/ut_Waiter.h"
#include "host/machine/DescriptorLimit.h"
#include "host/machine/LinuxPlatform.h"
#include "host/machine/Reaper.h"
#include "host/machine/SimulatedPlatform.h"
#include "host/service/fw_Watchdog.h"
#include "support/Test.h"

namespace {

using framework::Container;
using platform::Outcome;

using test::second;

using Ended = std::tuple<Outcome, int, std::string>;  // with the exit status and the output

Ended run(platform::Platform& machine, const std::string& line, std::int64_t limit = 60 * second,
          framework::InputStream* input = nullptr, unsigned int room = 512) {
  std::string text(room, '\0');
  utility::PutStream output(text.data(), static_cast<int>(room));
  const platform::Result result =
      machine.run({.line = line.c_str(), .input = input, .output = &output, .limit = limit});
  return {result.outcome, result.status, text.c_str()};
}

bool isThere(int pid) { return ::kill(pid, 0) == 0; }

// Waits for the end of a command's child, which is handed to this process as its subreaper.
int statusOfOrphan(int pid) {
  int status = -1;
  ::waitpid(pid, &status, 0);
  return status;
}

class Linux : public testing::Test {
 protected:
  Linux() { ::prctl(PR_SET_CHILD_SUBREAPER, 1); }

  platform::LinuxPlatform machine;
  test::Temporary files;
};

TEST_F(Linux, CommandsReadEndAndPrintAsTheShellSays) {
  std::string content;
  for (int i = 0; i < 2000; ++i) content += "line " + std::to_string(i) + "\n";
  std::string room(32768, '\0');
  utility::BufferStream input(room.data(), static_cast<int>(room.size()), false);
  input.PutS(content.c_str());
  const std::string flood = "head -c 1000000 /dev/zero | tr '\\0' x; exit 5";
  const struct {
    std::string line;
    Ended ended;
    unsigned int room = 512;
  } rows[] = {
      {"echo no; exit 3", {Outcome::Exited, 3, "no\n"}},
      {"kill -9 $$", {Outcome::Exited, 137, ""}},
      {"if", {Outcome::Exited, 2, ""}},
      {"echo lost >&2; echo kept", {Outcome::Exited, 0, "kept\n"}},
      {"exec >&-; exit 4", {Outcome::Exited, 4, ""}},
      {flood, {Outcome::Exited, 5, "xxx"}, 4},
      {"cat", {Outcome::Exited, 0, content}, 32768},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(run(machine, row.line, 60 * second, &input, row.room), row.ended) << row.line;
  }
  EXPECT_EQ(machine.run({.line = flood.c_str(), .limit = 60 * second}).status, 5) << "no room";
}

// What a command must not inherit: an ignored signal, blocked ones, a umask, a descriptor, a score
// by which the kernel chooses whom it ends for memory.
int disturb() {
  ::umask(077);
  ::signal(SIGTERM, SIG_IGN);
  sigset_t all;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
  std::ofstream("/proc/self/oom_score_adj") << 100;
  return ::fcntl(STDERR_FILENO, F_DUPFD, 200);  // not closed on exec
}

// In a process of its own.
TEST_F(Linux, ACommandFindsACleanProcess) {
  const auto inIt = [this] {
    const std::string leaked = "/proc/$$/fd/" + std::to_string(disturb());
    const std::pair<std::string, const char*> rows[] = {
        {"umask", "0022\n"},
        {"cat /proc/self/oom_score_adj", "0\n"},
        {"readlink /proc/self/fd/0 /proc/self/fd/2", "/dev/null\n/dev/null\n"},
        {"[ -e " + leaked + " ] || echo none", "none\n"},
        // 32 and 33 are the C library's own; posix_spawn(3) leaves them ignored.
        {"while read -r key value; do case $key in SigBlk:|SigIgn:)"
         " echo $((0x$value & ~0x180000000)); esac; done </proc/self/status",
         "0\n0\n"},
        {"(trap - TERM; kill -TERM $$); echo survived", ""},
        {"read -r p c s pp g sid rest </proc/$$/stat; [ $g-$sid = $$-$$ ] && echo own", "own\n"},
    };
    for (const auto& [line, output] : rows)
      EXPECT_EQ(std::get<std::string>(run(machine, line)), output) << line;
    ::_exit(HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(inIt(), testing::ExitedWithCode(0), "");
}

TEST_F(Linux, ACommandKeepsTheDescriptorLimitOfTheStart) {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = 200;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  platform::raiseDescriptorLimit();
  rlimit raised{};
  ::getrlimit(RLIMIT_NOFILE, &raised);
  EXPECT_EQ(raised.rlim_cur, limit.rlim_max);
  EXPECT_EQ(run(machine, "ulimit -n; exit 3"), (Ended{Outcome::Exited, 3, "200\n"}));
}

// A clock that stands until a file is there, and then goes by the hour.
class HeldClock : public platform::LinuxPlatform {
 public:
  explicit HeldClock(std::string file) : m_file(std::move(file)) { install(this); }
  ~HeldClock() override { install(nullptr); }
  std::int64_t now() override {
    if (std::filesystem::exists(m_file)) m_now += 3600 * second;
    return m_now;
  }

 private:
  const std::string m_file;
  std::int64_t m_now = 0;
};

TEST_F(Linux, PastTheLimitTheWholeGroupIsKilled) {
  const HeldClock clock(files.path("said"));
  const auto runUntilSaid = [this](const std::string& line, unsigned int room) {
    std::filesystem::remove(files.path("said"));
    const std::size_t said = line.find("SAID");
    const std::string whole =
        line.substr(0, said) + ": >" + files.path("said") + line.substr(said + 4);
    return run(machine, whole, second / 50, nullptr, room);
  };
  const auto [outcome, status, output] = runUntilSaid("sleep 1000 & echo $!; SAID; wait", 512);
  EXPECT_EQ(outcome, Outcome::TimedOut);
  EXPECT_EQ(status, 128 + SIGKILL);
  EXPECT_EQ(statusOfOrphan(std::stoi(output)), SIGKILL);
  EXPECT_EQ(runUntilSaid("echo y; echo y; SAID; yes & yes & yes", 4),
            (Ended{Outcome::TimedOut, 128 + SIGKILL, "y\ny"}));
}

TEST_F(Linux, GrandchildrenThatHoldThePipeDelayNobody) {
  const auto [outcome, status, output] = run(machine, "sleep 1000 & echo $!");
  EXPECT_EQ(outcome, Outcome::Exited);
  const int pid = std::stoi(output);
  EXPECT_TRUE(isThere(pid));
  ::kill(pid, SIGTERM);
  statusOfOrphan(pid);
  EXPECT_EQ(machine.queueSignal(pid, 45, 7), -1);
  EXPECT_EQ(errno, ESRCH);
  EXPECT_EQ(std::get<int>(run(machine, "yes & yes & yes & exit 6")), 6);  // they end with the pipe
}

TEST_F(Linux, AbortEndsTheRunningCommandAndTheLaterOnes) {
  std::jthread stopper([&] {
    test::eventually([&] { return files.has("runs"); });
    machine.abortCommands();
  });
  const std::string line = "touch " + files.path("runs") + "; sleep 1000";
  EXPECT_EQ(std::get<Outcome>(run(machine, line)), Outcome::Aborted);
  EXPECT_EQ(std::get<Outcome>(run(machine, "sleep 1000")), Outcome::Aborted);
}

// Each is reaped, told of at its end and not before, and then let go of.
TEST_F(Linux, BackgroundCommandsRunWholeAndAreReaped) {
  const std::pair<std::string, const char*> rows[] = {
      {"echo $$ >PID; read line <GO; : >DONE &", "exit status 0"},
      {"echo $$ >PID; read line <GO; : >DONE; exit 3; &", "exit status 3"},
      {"echo words; echo $$ >PID; read line <GO; : >DONE; kill -9 $$ &", "ended by signal 9"},
      {"echo $$ >PID; read line <GO; : >DONE; echo a >&2; echo b; echo 'c\td\n ' >&2; false &",
       "exit status 1"}};
  for (const auto& [line, expected] : rows) {
    const test::Temporary place;
    ASSERT_EQ(::mkfifo(place.path("GO").c_str(), 0600), 0);
    test::Kept<utility::CommandOutcome> told;
    const auto held = std::make_shared<const bool>();
    Container::spawnFor(("cd " + place.path("") + "; " + line).c_str(), Container::Fault::Status,
                        [held, &told](const auto& outcome) { told.add(outcome); });
    EXPECT_TRUE(test::eventually([&] { return !place.read("PID").empty(); })) << line;
    EXPECT_TRUE(told.all().empty() && held.use_count() > 1) << line;
    place.write("GO", "\n");
    EXPECT_TRUE(test::eventually([&] { return held.use_count() == 1; })) << line;
    EXPECT_TRUE(place.has("DONE")) << line;
    EXPECT_FALSE(isThere(std::stoi(place.read("PID")))) << line;
    EXPECT_TRUE(told.all().at(0).text().starts_with(expected)) << line;
    EXPECT_EQ(told.all().at(0).error, line.find(">&2") < line.size() ? "c?d" : "") << line;
  }
  std::array<char, 64> text{};
  utility::PutStream output(text.data(), text.size());
  EXPECT_EQ(Container::spawn("echo words &", nullptr, &output), 0);
  EXPECT_STREQ(text.data(), "");
}

TEST_F(Linux, BackgroundCommandsAreReapedWhereNoDescriptorIsLeftForIt) {
  const std::string line = "echo $$ >" + files.path("pid") + "; exec sleep 1000";
  machine.run({.line = line.c_str(), .detached = true});
  ASSERT_TRUE(test::eventually([&] { return files.read("pid").ends_with("\n"); }));
  const pid_t pid = std::stoi(files.read("pid"));
  const test::Limit none(RLIMIT_NOFILE, 3);
  ::kill(pid, SIGKILL);
  EXPECT_TRUE(test::eventually([&] { return !isThere(pid); }));
}

// A daemon keeps the standard error of its init script. It writes to it after the end of the host
// that gave it; the next one bounds it, and the daemon sees nothing of that.
TEST_F(Linux, ADaemonWritesToItsScriptsStandardErrorForAllItsLife) {
  const std::string line = "cd " + files.path("") +
                           "; (echo $BASHPID; until [ -e go ]; do sleep 0.01; done;"
                           " head -c 1048576 /dev/zero | tr '\\0' x >&2 && echo last >&2 && "
                           ": >wrote; exec sleep 1000) & echo $! >pid";
  {
    platform::LinuxPlatform host;
    host.run({.line = line.c_str(), .detached = true, .keepsError = true});
    ASSERT_TRUE(test::eventually([&] { return files.read("pid").ends_with("\n"); }));
  }
  const pid_t pid = std::stoi(files.read("pid"));
  files.write("go", "");
  ASSERT_TRUE(test::eventually([&] { return files.has("wrote"); }));
  const std::string path = "/proc/" + std::to_string(pid) + "/fd/2";
  const auto bytes = [&] {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_blocks * 512 : -1;
  };
  EXPECT_GE(bytes(), 1048576);
  Container::boundErrorOutput(pid);
  EXPECT_LE(bytes(), 8192);
  std::ifstream end(path);
  end.seekg(-6, std::ios::end);
  std::string words;
  end >> words;
  EXPECT_EQ(words, "xlast");
  Container::boundErrorOutput(1);  // another's is left alone
  ::kill(pid, SIGKILL);
  statusOfOrphan(pid);
}

// What the machine told of commands.
test::Kept<std::string> told;

class Queues : public Linux {
 protected:
  // An init script that is slow to start its daemon, and writes down what it does.
  Queues() {
    files.write("script", "cd " + files.path("") +
                              "; echo begin $1 >>log\n"
                              "case $2 in start) sleep 0.01; : >up ;; stop) rm -f up ;;\n"
                              "hang) until [ -e go ]; do sleep 0.01; done ;;\n"
                              "own) until [ -e go-$1 ]; do sleep 0.01; done ;; esac\n"
                              "echo end $1 >>log\n");
    told.clear();
  }
  void issue(platform::Platform& on, const char* queue, const std::string& words,
             std::int64_t limit = 60 * second) const {
    const std::string line = "sh " + files.path("script") + " " + words;
    on.run({.line = line.c_str(),
            .detached = true,
            .limit = limit,
            .queue = queue,
            .told = [words](const utility::CommandOutcome& outcome) {
              const std::string text = outcome.text();
              told.add(words + ": " + text.substr(0, text.find(" after")));
            }});
  }
  static long count(const std::string& what) { return std::ranges::count(told.all(), what); }
  void expectLog(
      const std::string& log, void (*meanwhile)() = [] {}) const {
    EXPECT_TRUE(test::eventually([&] { return meanwhile(), files.read("log") == log; }))
        << files.read("log");
  }
  static bool isTold(const std::string& what) {
    return test::eventually([&] { return count(what) > 0; });
  }
};

TEST_F(Queues, OfManySwitchesTheLastOneDecides) {
  std::minstd_rand random(20261122);
  std::string log;
  bool up = false;
  for (int i = 0; i < 100; ++i) {
    const std::string number = std::to_string(i);
    up = random() % 2 == 0;
    issue(machine, "daemon", number + (up ? " start" : " stop"));
    log += "begin " + number + "\nend " + number + "\n";
  }
  machine.finishCommands();
  expectLog(log);
  EXPECT_EQ(files.has("up"), up);
  EXPECT_TRUE(test::eventually([] { return told.all().size() == 100; }));
}

TEST_F(Queues, ACommandPastItsLimitAndAnotherQueueHoldNobodyUp) {
  issue(machine, "daemon", "1 hang", second / 50);
  expectLog("begin 1\n");
  issue(machine, "daemon", "2 hang");
  expectLog("begin 1\nbegin 2\n");
  EXPECT_TRUE(isTold("1 hang: still runs"));
  issue(machine, "daemon", "3 stop");
  issue(machine, "another", "4 stop");
  issue(machine, nullptr, "5 stop");
  EXPECT_TRUE(isTold("4 stop: exit status 0") && isTold("5 stop: exit status 0"));
  files.write("go", "");
  machine.finishCommands();
  EXPECT_TRUE(isTold("3 stop: exit status 0"));
  {
    const test::Limit limit(RLIMIT_NOFILE, 3);
    issue(machine, "daemon", "6 stop");
    machine.finishCommands();
  }
  EXPECT_TRUE(isTold("6 stop: could not be started"));
  // What is past its limit was not waited for, and would look for its directory for ever.
  EXPECT_TRUE(isTold("1 hang: exit status 0") && isTold("2 hang: exit status 0"));
}

TEST_F(Queues, PastANumberTheNextWaitsUntilOneEnds) {
  const int most = platform::Reaper::most;
  issue(machine, nullptr, "0 own");
  for (int i = 1; i < most; ++i) issue(machine, nullptr, std::to_string(i) + " hang");
  issue(machine, "daemon", "a stop");
  issue(machine, "daemon", "b stop");
  EXPECT_TRUE(isTold("a stop: waits, very many run"));
  files.write("go-0", "");
  EXPECT_TRUE(isTold("b stop: exit status 0"));
  EXPECT_EQ(count("b stop: waits, very many run"), 0) << "it waits for its turn alone";
  files.write("go", "");
  EXPECT_TRUE(test::eventually([&] { return std::ssize(told.all()) == most + 3; }));
}

TEST_F(Queues, WhatHasNotBegunAtTheEndOfTheProcessBeginsInOrderAllTheSame) {
  {
    platform::LinuxPlatform host;
    issue(host, "daemon", "1 hang");
    issue(host, "daemon", "2 start");
    host.abortCommands();
    host.finishCommands();
    issue(host, "daemon", "3 stop");
  }
  expectLog("begin 1\n");
  files.write("go", "");
  expectLog("begin 1\nend 1\nbegin 2\nend 2\nbegin 3\nend 3\n", [] {
    while (::waitpid(-1, nullptr, WNOHANG) > 0) continue;  // as init does once the host has gone
  });
}

TEST_F(Linux, CommandsOfSeveralThreadsKeepApartAndLeaveNoDescriptor) {
  const auto runBoth = [this](const std::string& text) {
    EXPECT_EQ(std::get<std::string>(run(machine, "echo " + text)), text + "\n");
    machine.run({.line = "exit 0", .detached = true});
  };
  const auto atFirst = test::countOf("/proc/self/fd");
  {
    std::array<std::jthread, 4> threads;
    for (std::size_t i = 0; i < threads.size(); ++i) {
      threads[i] = std::jthread([&runBoth, i] {
        for (int round = 0; round < 5; ++round)
          runBoth(std::to_string(i) + "." + std::to_string(round));
      });
    }
  }
  // What stays open is the reaper's of this machine and of the one in force.
  EXPECT_TRUE(test::eventually([&] { return test::countOf("/proc/self/fd") <= atFirst + 2; }));
}

TEST_F(Linux, TheEndOfAGroupsLastProcessWakesAndSoDoesTheTick) {
  std::atomic<int> woken = 0;
  const auto watch = Container::watchExits([&] { ++woken; });
  const auto wakes = [&] {
    test::eventually([&] { return woken > 0; });
    return woken.exchange(0) > 0;
  };
  const auto looks = [&] {
    watch->lookBegins();
    const auto all = watch->histogram();
    return std::accumulate(all.begin(), all.end(), 0);
  };
  const auto end = [](pid_t pid) {
    ::kill(pid, SIGKILL);
    statusOfOrphan(pid);
  };
  std::array<pid_t, 3> pids{};
  std::array<std::uint64_t, 3> ids{};
  const int group = 0, another = 0;
  for (std::size_t i = 0; i < 3; ++i) {
    pids[i] = ::fork();
    while (pids[i] == 0) ::pause();
    ids[i] = watch->begin(pids[i], i < 2 ? &group : &another);
    EXPECT_NE(ids[i], 0U);
  }
  end(pids[0]);
  watch->order();
  EXPECT_TRUE(wakes());
  EXPECT_EQ(looks(), 0) << "another of the group lives";
  end(pids[1]);
  EXPECT_TRUE(wakes());
  EXPECT_EQ(looks(), 1);
  EXPECT_EQ(watch->begin(pids[1], &group), 0) << "it is gone";
  watch->end(ids[2]);
  end(pids[2]);
  watch->setTicking(true);
  EXPECT_TRUE(wakes());
  EXPECT_EQ(looks(), 1) << "it was not watched any more";
  watch->stop();
  for (const auto id : ids) watch->end(id);
}

TEST_F(Linux, ASignalCarriesItsValue) {
  sigset_t wanted;
  sigset_t before;
  ::sigemptyset(&wanted);
  ::sigaddset(&wanted, 45);
  ::sigprocmask(SIG_BLOCK, &wanted, &before);
  const pid_t child = ::fork();
  if (child == 0) {
    siginfo_t received{};
    ::_exit(::sigwaitinfo(&wanted, &received) == 45 ? received.si_value.sival_int : 0);
  }
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(machine.queueSignal(child, 45, 7), 0);
  EXPECT_EQ(WEXITSTATUS(statusOfOrphan(child)), 7);
}

TEST(WaiterTest, ABroadcastWakesAllAndASignalOneNowOrLater) {
  utility::Waiter waiter;
  int asleep = 0;
  int woken = 0;
  std::array<std::jthread, 3> threads;
  for (auto& thread : threads) {
    thread = std::jthread([&] {
      const std::lock_guard lock(waiter);
      ++asleep;
      waiter.wait(3600);
      ++woken;
    });
  }
  const auto is = [&](int& number, int value) {
    const std::lock_guard lock(waiter);
    return number == value;
  };
  ASSERT_TRUE(test::eventually([&] { return is(asleep, 3); }));
  waiter.signal();
  EXPECT_TRUE(test::eventually([&] { return is(woken, 1); }));
  waiter.broadcast();
  EXPECT_TRUE(test::eventually([&] { return is(woken, 3); }));
}

class Simulation : public testing::Test {
 protected:
  platform::SimulatedPlatform machine;
};

TEST_F(Simulation, CommandsOfOneBudgetShareOneLimit) {
  std::vector<std::int64_t> limits;
  machine.onCommand("slow", [&](const platform::Command& command) {
    limits.push_back(command.limit / second);
    machine.pass(25 * second);
    return platform::Result{};
  });
  const auto runFour = [] {
    for (int i = 0; i < 4; ++i) framework::Container::spawn("slow", nullptr, nullptr);
  };
  framework::Container::setCommandLimit(60);
  {
    const framework::CommandBudget budget;
    runFour();
  }
  runFour();
  EXPECT_EQ(limits, (std::vector<std::int64_t>{60, 35, 10, 0, 60, 60, 60, 60}));
}

TEST_F(Simulation, BackgroundCommandsOfOneInitScriptTakeTurns) {
  const std::pair<const char*, const char*> rows[] = {
      {"/app/etc/init.d/webS start &", "/app/etc/init.d/webS"},
      {"/app/etc/init.d/webS start", "none"},
      {"/app/etc/getweblogs &", "none"},
      {"killall -9 web &", "none"}};
  for (const auto& [line, expected] : rows) {
    std::string queue;
    machine.onCommand("", [&](const platform::Command& command) {
      queue = command.queue == nullptr ? "none" : command.queue;
      EXPECT_EQ(command.limit, (command.detached ? 30 : 60) * second);
      return platform::Result{};
    });
    framework::Container::spawn(line, nullptr, nullptr);
    EXPECT_EQ(queue, expected) << line;
  }
}

// Of a command that is run for a daemon; of others only that they could not be started.
TEST_F(Simulation, WhatBecomesOfADaemonsCommandIsToldAndWarnedOf) {
  using Fault = framework::Container::Fault;
  using Stage = utility::CommandOutcome::Stage;
  const auto fine = Fault::Status;
  const struct {
    utility::CommandOutcome outcome;
    Fault fault;
    const char* line;  // of the log; null: none
  } rows[] = {
      {{.stage = Stage::Exited, .error = "note"}, fine, nullptr},
      {{.stage = Stage::Exited, .took = 250000, .error = "no relay"},
       Fault::StandardError,
       "warning host: command exit status 0 after 0.2 s: no relay: x &"},
      {{.stage = Stage::Exited, .value = 3, .took = 2000000},
       fine,
       "warning host: command exit status 3 after 2.0 s: x &"},
      {{.stage = Stage::Signalled, .value = 9, .error = "last words"},
       fine,
       "warning host: command ended by signal 9 after 0.0 s: last words: x &"},
      {{.stage = Stage::Running, .took = 30000000},
       fine,
       "warning host: command still runs after 30.0 s: x &"},
      {{.stage = Stage::Waiting}, fine, "warning host: command waits, very many run: x &"},
      {{.stage = Stage::NotStarted}, fine, "error   host: command could not be started: x"},
  };
  for (const auto& row : rows) {
    const test::LogCapture log;
    machine.onCommand("x", [&](const platform::Command& command) {
      command.told(row.outcome);
      return platform::Result{};
    });
    test::Texts heard;
    framework::Container::spawnFor("x &", row.fault,
                                   [&](const auto& outcome) { heard.push_back(outcome.text()); });
    EXPECT_EQ(heard, (test::Texts{row.outcome.text(), "exit status 0 after 0.0 s"}));
    EXPECT_EQ(log.count(" host: "), row.line == nullptr ? 0 : 1) << row.outcome.text();
    EXPECT_TRUE(row.line == nullptr || log.has(row.line)) << row.line;
    framework::Container::spawn("x &", nullptr, nullptr);
    EXPECT_EQ(log.count(" host: "),
              (row.line != nullptr) + (row.outcome.stage == Stage::NotStarted));
  }
}

TEST_F(Simulation, ACommandThatDidNotEndByItselfIsAnErrorLine) {
  const test::LogCapture log;
  const struct {
    platform::Outcome outcome;
    const char* line;
  } rows[] = {{platform::Outcome::NotStarted, "command could not be started: x"},
              {platform::Outcome::TimedOut, "command passed its time limit and was killed: x"},
              {platform::Outcome::Aborted, "command was killed, the host is stopping: x"}};
  for (const auto& row : rows) {
    machine.onCommand("x", [&](const platform::Command&) {
      return platform::Result{.outcome = row.outcome, .status = 0};
    });
    EXPECT_NE(framework::Container::spawn("x", nullptr, nullptr), 0) << row.line;
    EXPECT_EQ(log.count(row.line), 1) << row.line;
  }
}

test::Texts notified;

TEST_F(Simulation, AThreadThatHangsIsAnErrorLineAndItsReturnAWarning) {
  using framework::Watchdog;
  const test::LogCapture log;
  const auto looksIn = [&](std::int64_t microseconds) {
    machine.pass(microseconds);
    return Watchdog::look();
  };
  framework::Container::setCommandLimit(60);
  Watchdog::setNotify([](const char* state) { notified.emplace_back(state); });
  Watchdog::begin("the cycle", 10);
  EXPECT_EQ(looksIn(0), 210 * second);
  EXPECT_EQ(looksIn(209 * second), second);
  Watchdog::beat();
  EXPECT_EQ(looksIn(210 * second - 1), 1);
  EXPECT_EQ(log.count("host: "), 0);
  EXPECT_EQ(looksIn(1), 70 * second);
  looksIn(70 * second);
  EXPECT_EQ(log.count("error   host: the cycle hangs: it has not come round for 210 s"), 1);
  Watchdog::beat();
  looksIn(0);
  EXPECT_EQ(log.count("warning host: the cycle goes on"), 1);
  Watchdog::end();
  looksIn(1000 * second);
  EXPECT_EQ(log.count("host: "), 2);
  EXPECT_EQ(notified, (test::Texts{"WATCHDOG_USEC=280000000", "WATCHDOG=1", "WATCHDOG=1"}));
  Watchdog::setNotify(nullptr);
}

}  // namespace
