// Which record gets a process: the scan and its kept files, strangers that look like a daemon, and
// what an operator is told of it.
#include <dirent.h>
#include <linux/sched.h>
#include <sched.h>
#include <clocale>

#include "app/supervision/app_ProcessScan.h"
#include "host/service/fw_RunningCheck.h"
#include "host/service/fw_ServiceFactory.h"
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

TEST(Matcher, MatchesByteForByteInAnyLocale) {
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  const Process process(strings::GS.toToken("web"), false, "^..$");
  EXPECT_TRUE(process.match("", "\xc3\xa4"));
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

// The daemon is process 70, of /opt/tool and user 0. At 135 s process 80 comes, later a child of it
// with the daemon's file; at 145 s all of the daemon's own end.
struct Stranger {
  const char* name;
  const char* executable;
  int user;
  int parent;
  std::int64_t ends;  // of process 70, in seconds; -1: never
  const char* shown;
  const char* strict;  // shown where identity is strict
};

constexpr Stranger strangers[] = {
    {"started by hand", "/opt/tool", 0, 1, 145, "Up", "Up"},
    {"of a file replaced since", "/opt/tool (deleted)", 0, 1, 145, "Up", "Up"},
    {"of another user", "/opt/tool", 7, 1, 145, "Up?", "Starting"},
    {"of another file", "/usr/bin/vi", 0, 1, 145, "Up?", "Starting"},
    {"a child of the daemon", "/opt/worker", 7, 70, 145, "Up", "Up"},
    {"beside the daemon", "/usr/bin/vi", 0, 1, -1, "Up", "Up"},
};

TEST(Strangers, DoNotStandForADaemon) {
  for (const bool strict : {false, true}) {
    for (const Stranger& row : strangers) {
      SCOPED_TRACE(std::string(row.name) + (strict ? ", strict" : ""));
      SimulatedController controller({"tool"}, 10);
      controller.setBool("daemon.tool.strictIdentity", strict);
      controller.addProcess(70, "/opt/tool");
      controller.setOrigin(70, "/opt/tool", 0, 1);
      const auto come = [&](int pid, const char* executable, int user, int parent) {
        controller.addProcess(pid, "/opt/tool");
        controller.setOrigin(pid, executable, user, parent);
      };
      controller.at(135, [&] { come(80, row.executable, row.user, row.parent); });
      controller.at(143, [&] { come(81, "/opt/tool", 0, 80); });
      if (row.ends > 0) controller.at(row.ends, [&] { controller.removeProcess(70); });
      const AppManager& manager = controller.build();
      controller.runUntil(172);
      const ProcessView view = manager.views().at(0);
      const bool stranger = row.shown == std::string("Up?");
      EXPECT_EQ(view.stateText(), strict ? row.strict : row.shown);
      EXPECT_EQ(view.markText(), stranger ? "STRANGER" : "");
      EXPECT_EQ(controller.log.count("of tool only a stranger runs, process 8"), stranger ? 1 : 0);
      EXPECT_EQ(controller.log.count("gone is process 70 (/opt/tool, user 0)"), stranger ? 1 : 0);
      EXPECT_EQ(controller.timesOf("/app/etc/init.d/toolS start").size(),
                stranger && strict ? 1U : 0U);
      const auto entries = manager.history().entries("tool");
      EXPECT_EQ(std::ranges::count(entries, "only a stranger runs", &HistoryEntry::what),
                stranger ? 1 : 0);
    }
  }
}

TEST(Strangers, AreLetGoWhenTheDaemonIsBack) {
  SimulatedController controller({"tool"}, 10);
  controller.setBool("daemon.tool.strictIdentity", true);
  const auto come = [&](int pid, const char* executable) {
    controller.addProcess(pid, "/opt/tool");
    controller.setOrigin(pid, executable, 0, 1);
  };
  come(70, "/opt/tool");
  controller.onInit("tool", "start", [&] { come(90, "/opt/tool2"); });  // a new firmware's
  controller.at(125, [&] { controller.removeProcess(70); });
  controller.at(126, [&] { come(80, "/usr/bin/vi"); });
  AppManager& manager = controller.build();
  controller.runUntil(185);
  EXPECT_EQ(manager.views().at(0).pids, std::vector{90});
  EXPECT_EQ(manager.views().at(0).markText(), "");
}

TEST(Strangers, AreNotKilledByTheDaemonsName) {
  SimulatedController controller({"tool"}, 10);
  controller.setBool("daemon.tool.strictIdentity", true);
  controller.setList("killNonEssential", {"tool"});
  const auto come = [&](int pid, const char* executable) {
    controller.addProcess(pid, "/opt/tool");
    controller.setOrigin(pid, executable, 0, 1);
  };
  come(70, "/opt/tool");
  controller.at(135, [&] { come(80, "/usr/bin/vi"); });
  controller.at(155, [&] {
    AppManager::getSingleton()->serviceEvent(strings::token<"killNonEssentialProcesses">, nullptr);
  });
  controller.build();
  controller.runUntil(156);
  EXPECT_EQ(controller.timesOf("kill -9 70").size(), 1U);
  EXPECT_TRUE(controller.timesOf("kill -9 80").empty());
  EXPECT_TRUE(controller.timesOf("killall").empty());
}

using Lines = std::vector<std::string>;

framework::Config configOf(const std::map<std::string, Lines>& lists) {
  framework::Config config;
  for (const auto& [key, entries] : lists) {
    config.set("Other." + key, {.value = test::listOf(entries)});
  }
  return config;
}

const char* const running =
    "0 99\nsaid before\n"
    "NAME  STATE  SUSPENDED  PIDS\n"
    "web   Up     yes        71\n"
    "wide  Up     no         71\n"
    "all   Up     yes        -\n"
    "old   Down   yes        -\n";

std::string surveyed(const framework::Config& config, const char* list, Lines& warnings) {
  return test::printed([&](auto& stream) {
    warnings = framework::RunningCheck::of("AppManager")(
        config, "Other", stream,
        [list](const char* line) { return std::string(line) == "process list" ? list : line; });
  });
}

TEST(Survey, ShowsWhatEachRecordClaimsAndWarnsOfWhatIsAmiss) {
  test::SimulatedController controller;
  for (int pid = 70;
       const char* line : {"/app/bin/web --port 80", "/app/bin/webmail\t\xC2\x9Bx",
                           "/usr/sbin/mchost --config /cfg/mc.toml", "", "/opt/go(1)/gone.py -d"}) {
    controller.addProcess(pid++, line);
  }
  Lines warnings;
  EXPECT_EQ(
      surveyed(configOf({{"data", {" all//bin/web", "web", "", "gone", "wide/cfg", "broken/("}}}),
               running, warnings),
      "all: command lines that match /bin/web\n"
      "HOW     PID  PROGRAM  COMMAND LINE\n"
      "claims  70   web      /app/bin/web --port 80\n"
      "claims  71   webmail  /app/bin/webmail??x\n"
      "web: programs of that name\n"
      "HOW           PID  PROGRAM  COMMAND LINE\n"
      "taken by all  70   web      /app/bin/web --port 80\n"
      "nearly        71   webmail  /app/bin/webmail??x\n"
      "gone: programs of that name\n"
      "HOW     PID  PROGRAM  COMMAND LINE\n"
      "nearly  74   gone.py  /opt/go(1)/gone.py -d\n"
      "wide: command lines that match cfg\n"
      "HOW     PID  PROGRAM  COMMAND LINE\n"
      "claims  72   mchost   /usr/sbin/mchost --config /cfg/mc.toml\n"
      "broken: programs of that name, since its pattern does not compile\n"
      "no running process\n"
      "a start with this configuration changes on the running host\n"
      "all: suspended now, and no longer then\n"
      "gone: supervised from then on\n"
      "broken: supervised from then on\n"
      "old: supervised no more\n");
  EXPECT_EQ(warnings, (Lines{
                          "gone: no running process matches, but gone.py (74) runs; is "
                          "\"gone/^/opt/go\\(1\\)/gone\\.py( |$)\" meant?",
                          "wide: no running process matches",
                          "wide: matches mchost itself",
                          "broken: no running process matches",
                          "process 70 (web) matches all, web; the first of them gets it",
                      }));
  EXPECT_EQ(surveyed({}, "", warnings), "");
  EXPECT_EQ(warnings, Lines());
}

TEST(Installation, IsHeldAgainstTheConfiguration) {
  test::SimulatedController controller;
  std::filesystem::create_directories(controller.machine.root() + "/app/etc/init.d");
  std::filesystem::create_directories(controller.machine.root() + "/sbin");
  for (const char* script : {"good", "plain", "sfcbd", "snmpd"}) {
    const std::string path = std::string("/app/etc/init.d/") + script + "S";
    controller.writeFile(path, "");
    if (script != std::string("plain")) ::chmod((controller.machine.root() + path).c_str(), 0755);
  }
  controller.writeFile("/opt/bin/snmpd", "");
  const auto warnings = [] {
    const auto all = configOf({{"data", {" good//x", "", "plain", "none", "sfcbd", "snmpd"}},
                               {"nokill", {"good ", "ghost", ""}},
                               {"killNonEssential", {"nobody"}}});
    Lines lines;
    const auto look = framework::ServiceProperties::lookOf("AppManager");
    for (const auto& [key, entry, text] : look(all, "Other")) {
      lines.push_back(key + " " + std::to_string(static_cast<int>(entry)) + " " + text);
    }
    return lines;
  };
  const Lines lists = {"nokill 1 \"ghost\": no daemon of the list data",
                       "killNonEssential 0 \"nobody\": no daemon of the list data"};
  Lines expected = {"data 2 \"plain\": its init script /app/etc/init.d/plainS cannot be run",
                    "data 3 \"none\": its init script /app/etc/init.d/noneS is not there",
                    "data 4 \"sfcbd\": starts suspended, since /opt/sbin/sfcbd is not there"};
  expected.insert(expected.end(), lists.begin(), lists.end());
  EXPECT_EQ(warnings(), expected);
  controller.writeFile("/cfg/do.crashmail", "");
  expected.emplace_back(
      "data -1 crash mail is on by /cfg/do.crashmail, but /sbin/sendmail cannot be run");
  EXPECT_EQ(warnings(), expected);
  controller.writeFile("/sbin/sendmail", "");
  ::chmod((controller.machine.root() + "/sbin/sendmail").c_str(), 0755);
  ::setenv("MC_ARCH", "PC", 1);  // where no script is run
  EXPECT_EQ(warnings(), lists);
}

}  // namespace
}  // namespace services::app
