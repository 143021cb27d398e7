// The scan for the daemons' instances: which record gets a process, kept files and their limits.
#include <dirent.h>
#include <linux/sched.h>
#include <sched.h>

#include <clocale>

#include "app/supervision/app_ProcessScan.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

using test::SimulatedController;

// A record of a daemon "web", or of what the pattern matches, taken in by the scan.
std::unique_ptr<Process> recordOf(ProcessScan& scan, const char* pattern = nullptr) {
  auto record = std::make_unique<Process>(strings::GS.toToken("web"), false, pattern);
  scan.add(*record);
  return record;
}

TEST(Matcher, MatchesTheWholeNameOrThePatternByteForByte) {
  const struct {
    const char* pattern;  // null: by name
    const char* baseName;
    const char* commandLine;
    bool expected;
  } rows[] = {
      {nullptr, "", "", false},  // a kernel thread
      {"sh .*/web --port [0-9]+$", "sh", "/bin/sh /app/web --port 80", true},
      {"^..$", "", "\xc3\xa4", true},
  };
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  for (const auto& row : rows) {
    const Process process(strings::GS.toToken("web"), false, row.pattern);
    EXPECT_EQ(process.match(row.baseName, row.commandLine), row.expected) << row.commandLine;
  }
  std::setlocale(LC_ALL, "C");
}

int openFrom(int first, int end) {
  int count = 0;
  for (int i = first; i < end; ++i) count += ::fcntl(i, F_GETFD) < 0 ? 0 : 1;
  return count;
}

std::string scanned(ProcessScan& scan, Process& record) {
  record.startScan();
  scan.run();
  record.endScan();
  std::array<char, 512> pids;
  return record.getInstanceInfo(pids.data(), pids.size());
}

TEST(Scan, AnswersTheSameWhenDescriptorsRunShort) {
  const struct {
    const char* name;
    rlim_t limit;
    int share;    // descriptor numbers that are left to others
    int kept[3];  // files that are kept after each scan
  } rows[] = {
      {"plenty", 5000, 1024, {60, 61, 21}},
      {"few", 160, 128, {32, 32, 21}},
      {"none to spare", 48, 48, {0, 0, 0}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    SimulatedController controller;
    for (int pid = 100; pid < 160; ++pid) {
      controller.addProcess(pid, pid % 20 == 0 ? "/bin/web" : "/bin/other");
    }
    ProcessScan scan;
    const auto record = recordOf(scan);
    const test::Limit limit(RLIMIT_NOFILE, row.limit);
    const auto kept = [&] { return openFrom(row.share, static_cast<int>(row.limit)); };
    EXPECT_EQ(scanned(scan, *record), "100,120,140");
    std::array<char, 7> room;
    EXPECT_STREQ(record->getInstanceInfo(room.data(), room.size()), "100") << "whole pids";
    EXPECT_EQ(kept(), row.kept[0]);
    const int before = openFrom(0, row.share);  // the host itself opens some at its first work
    controller.addProcess(101, "/bin/web -x");  // an exec
    controller.addProcess(140, "/bin/else");
    controller.addProcess(99, "/bin/web");
    EXPECT_EQ(scanned(scan, *record), "100,120,99,101") << "in the order of their finding";
    EXPECT_EQ(kept(), row.kept[1]);
    for (int pid = 100; pid < 140; ++pid) controller.removeProcess(pid);
    controller.addProcess(159, "/bin/web");
    EXPECT_EQ(scanned(scan, *record), "99,159");
    EXPECT_EQ(kept(), row.kept[2]) << "files of the dead are closed, those of the rest kept now";
    EXPECT_EQ(openFrom(0, row.share), before) << "the share is left free";
  }
}

TEST(Scan, TheListStaysWhereItCannotBeReadAnew) {
  utility::ProcessDirectory directory;
  std::vector<int> pids;
  directory.list(pids);
  pids = {1, 2};
  const test::Limit none(RLIMIT_NOFILE, 0);
  directory.list(pids);
  EXPECT_EQ(pids.size(), 2U);
}

// A child of the test, with its command line, that waits for its end. With a pid, it gets that one.
pid_t child(pid_t pid = 0) {
  clone_args arguments{};
  arguments.exit_signal = SIGCHLD;
  if (pid > 0) {
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(&pid);
    arguments.set_tid_size = 1;
  }
  const auto made = static_cast<pid_t>(::syscall(SYS_clone3, &arguments, sizeof arguments));
  if (made == 0) {
    for (;;) ::pause();
  }
  return made;
}

void end(pid_t pid) {
  ::kill(pid, SIGKILL);
  ::waitpid(pid, nullptr, 0);
}

TEST(Scan, AKeptFileTellsAProcessFromItsSuccessorOfTheSamePid) {
  ProcessScan scan;
  const auto owned = recordOf(scan, "ScanTest");
  Process& record = *owned;
  const pid_t pid = child();
  ASSERT_GT(pid, 0);
  scanned(scan, record);
  EXPECT_TRUE(scan.isStill(pid, record));
  EXPECT_FALSE(scan.isStill(pid, Process(strings::GS.toToken("another"), false, nullptr)));
  EXPECT_FALSE(scan.isStill(1, record));
  end(pid);
  EXPECT_FALSE(scan.isStill(pid, record));
  const pid_t successor = child(pid);
  if (successor != pid) GTEST_SKIP() << "this machine does not let a process choose a pid";
  EXPECT_FALSE(scan.isStill(pid, record)) << "it looks the same, but it is another one";
  scanned(scan, record);
  EXPECT_TRUE(scan.isStill(pid, record)) << "the next scan takes it in";
  end(pid);
}

}  // namespace
}  // namespace services::app
