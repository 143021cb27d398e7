// The supervision service over simulated time: construction, the poll cycle, the control interface.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "host/framework/st_StringRepository.h"
#include "host/framework/ut_Debug.h"
#include "support/SimulatedController.h"
#include "util/fw_Exception.h"
#include "util/ut_BufferStream.h"

namespace services::app {
namespace {

using test::SimulatedController;
using Times = std::vector<std::int64_t>;

strings::stringtoken token(const char* name) { return strings::GS.toToken(name); }

std::string report(const AppManager& manager) {
  std::array<char, 4096> text;
  utility::BufferStream stream(text.data(), static_cast<int>(text.size()), false);
  manager.information(stream, 0, false);
  return stream.pTail();
}

constexpr const char* killScript = "/usr/bin/killappsmchost";

TEST(Construction, ReadsTheLists) {
  SimulatedController controller;
  controller.setList("data", {"  snmpd \t", "web/bin/web", "", "  ", "snmpd2"});
  controller.setList("nokill", {" web ", "unknown", ""});
  controller.writeFile("/app/bin/web", "");
  AppManager& manager = controller.build();
  EXPECT_EQ(controller.readFile(killScript), "#!/bin/sh\nkillall -9 snmpd\nkillall -9 snmpd2\n");
  EXPECT_TRUE(AppManager::getProcessSuspend(token("snmpd"))) << "its program is missing";
  EXPECT_FALSE(AppManager::getProcessSuspend(token("web")));
  EXPECT_FALSE(AppManager::getProcessSuspend(token("snmpd2")));
  EXPECT_TRUE(controller.log.has("pattern: [bin/web]"));
  EXPECT_EQ(manager.nthProcess(3), nullptr);
  EXPECT_EQ(manager.openProcess(token("unknown")), nullptr);
  manager.closeProcess(nullptr);
}

TEST(Construction, WritesOnlyTheFirstLineWhenAllAreSpared) {
  SimulatedController controller;
  controller.setList("data", {"a", "b"});
  controller.setList("nokill", {"b", "a"});
  controller.build();
  EXPECT_EQ(controller.readFile(killScript), "#!/bin/sh\n");
}

TEST(Construction, EndsEarlyWithoutALists) {
  for (const std::string missing : {"data", "nokill"}) {
    SimulatedController controller;
    controller.setList("data", {"a"});
    controller.setInt("pollSeconds", 10);
    controller.writeFile("/cfg/do.crashmail", "");
    controller.setInt(missing, 1);  // no list
    controller.build();
    EXPECT_TRUE(controller.log.has("AppManager." + missing +
                                   ": property not supplied.  Needed for AppManager processes."));
    EXPECT_FALSE(std::filesystem::exists(controller.machine.root() + killScript));
    EXPECT_FALSE(std::filesystem::exists(controller.machine.root() + "/var/log/crash.events"));
  }
}

struct ArchitectureRow {
  const char* name;
  const char* value;  // null: unset
  bool control;
};

class Architecture : public testing::TestWithParam<ArchitectureRow> {};

TEST_P(Architecture, AllowsProcessControl) {
  SimulatedController controller;
  controller.setList("data", {"a"});
  GetParam().value == nullptr ? ::unsetenv("MC_ARCH") : ::setenv("MC_ARCH", GetParam().value, 1);
  AppManager& manager = controller.build();
  const bool control = GetParam().control;
  EXPECT_EQ(report(manager).starts_with("Do Restarts disabled\nDo ProcessControl disabled\n"),
            !control);
  EXPECT_EQ(AppManager::startProcess(token("a")), control);
  EXPECT_EQ(AppManager::stopProcess(token("a")), control);
  EXPECT_EQ(AppManager::restartProcess(token("a")), control);
  EXPECT_EQ(controller.machine.commands().size(), control ? 3U : 0U);
  AppManager::setProcessSuspend(token("a"), true);
  EXPECT_TRUE(AppManager::getProcessSuspend(token("a")));
  EXPECT_FALSE(AppManager::startProcess(token("none")));
  EXPECT_EQ(AppManager::getProcessState(token("none")), Process::Unclassified);
}

INSTANTIATE_TEST_SUITE_P(Table, Architecture,
                         testing::Values(ArchitectureRow{"Unset", nullptr, false},
                                         ArchitectureRow{"Pc", "PC", false},
                                         ArchitectureRow{"Empty", "", true},
                                         ArchitectureRow{"Other", "ARM", true}),
                         [](const auto& row) { return row.param.name; });

TEST(Control, GivesAClaimBackWhenTheReportDoesNotFit) {
  SimulatedController controller;
  controller.setList("data", {"a"});
  AppManager& manager = controller.build();
  std::array<char, 100> text;
  utility::BufferStream stream(text.data(), 100, false);
  try {
    manager.information(stream, 0, false);
    FAIL();
  } catch (framework::Exception* full) {
    delete full;
  }
  manager.Shutdown();  // so that a claim that is held is not waited for
  Process* process = manager.openProcess(token("a"));
  EXPECT_NE(process, nullptr);
}

TEST(Control, AnswersWithoutAService) {
  EXPECT_EQ(AppManager::getSingleton(), nullptr);
  EXPECT_FALSE(AppManager::startProcess(token("a")));
  EXPECT_EQ(AppManager::getProcessState(token("a")), Process::Unclassified);
  AppManager::setProcessSuspend(token("a"), true);
}

TEST(Control, FindsProcessesByPrefix) {
  SimulatedController controller;
  controller.addProcess(70, "/sbin/init");
  controller.addProcess(71, "/opt/bin/snmpd -f");
  EXPECT_EQ(AppManager::findProcess("snmp"), 71);
  EXPECT_EQ(AppManager::findProcess("snmpdx"), -1);
}

TEST(Control, KeepsTheLeadingOutputOfACommand) {
  SimulatedController controller;
  controller.machine.onCommand("readslot", [](const platform::Command& command) {
    try {
      command.output->SendOutputStream("ABCDEFGH", 8);
    } catch (framework::Exception* full) {
      delete full;
    }
    return platform::Result{};
  });
  controller.machine.onCommand("false", [](const platform::Command&) {
    return platform::Result{platform::Outcome::Exited, 1};
  });
  std::array<char, 5> text;
  EXPECT_TRUE(AppManager::getExternalValue("readslot", text.data(), 5));
  EXPECT_STREQ(text.data(), "ABCD");
  EXPECT_FALSE(AppManager::getExternalValue("false", text.data(), 5));
}

struct ReadRow {
  const char* name;
  std::string bytes;
  std::string baseName;
  std::string commandLine;
};

TEST(Control, ReadsProcesses) {
  using namespace std::string_literals;
  const ReadRow rows[] = {
      {"arguments",
       "/opt/bin/web\0-p\0"
       "80\0"s,
       "web", "/opt/bin/web -p 80 "},
      {"kernel thread", "", "", ""},
      {"no slash", "init\0"s, "init", "init "},
      {"blank in the first word", "web: worker", "web:", "web: worker"},
      {"tab and slashes behind it", "/a/b\t/c/d", "b", "/a/b\t/c/d"},
      {"ends in a slash", "/a/b/", "", "/a/b/"},
      {"too long", std::string(2000, 'x'), std::string(255, 'x'), std::string(1023, 'x')},
  };
  SimulatedController controller;
  std::filesystem::create_directories(controller.machine.root() + "/proc/412");
  for (const ReadRow& row : rows) {
    SCOPED_TRACE(row.name);
    controller.writeFile("/proc/412/cmdline", row.bytes);
    std::array<char, 256> baseName;
    std::array<char, 1024> commandLine;
    int pid = -1;
    ASSERT_TRUE(AppManager::extractProcessInfo("/proc/412", baseName.data(), 256,
                                               commandLine.data(), 1024, pid));
    EXPECT_EQ(baseName.data(), row.baseName);
    EXPECT_EQ(commandLine.data(), row.commandLine);
    EXPECT_EQ(pid, 412);
  }
  int pid = -1;
  std::array<char, 8> small;
  EXPECT_FALSE(AppManager::extractProcessInfo("/proc/413", small.data(), 8, nullptr, 0, pid));
}

// A daemon that runs and dies at 200 seconds, unless the set-up says otherwise.
struct DownRow {
  const char* name;
  void (*prepare)(SimulatedController& controller);
  Times starts = {};
  Process::State state = Process::Down;  // at the end
  std::int64_t end = 300;
};
const DownRow downRows[] = {
    {"that dies",
     [](SimulatedController& controller) {
       controller.onInit("a", "start", [&] { controller.addProcess(60, "/bin/a"); });
       controller.at(1, [&] { EXPECT_EQ(controller.stateOf("a"), Process::Up); });
     },
     {206},
     Process::Up},
    // The first cycle past 120 seconds is that at 130: Down, then cycles 2 seconds apart, and the
    // first that finds it down for more than 5 seconds starts it. It is given up in the first
    // cycle more than 30 seconds later (at 176, cycles being 10 seconds apart), Down at 178.
    {"that never comes up, behind the start-up period",
     [](SimulatedController& controller) {
       controller.removeProcess(50);
       controller.at(125, [&] {
         EXPECT_EQ(controller.stateOf("a"), Process::Unclassified);
         EXPECT_TRUE(report(*AppManager::getSingleton()).starts_with("Do Restarts disabled\n"));
       });
       controller.at(131, [] {
         EXPECT_FALSE(report(*AppManager::getSingleton()).starts_with("Do Restarts disabled\n"));
       });
     },
     {136, 184, 232},
     Process::Starting,
     260},
    {"after a restart that was seen only by its pids",
     [](SimulatedController& controller) {
       controller.onInit("a", "restart", [&] {
         controller.removeProcess(50);
         controller.addProcess(51, "/bin/a");
       });
       controller.at(155, [] { AppManager::restartProcess(token("a")); });
       controller.at(200, [&] { controller.removeProcess(51); });
     },
     {206},
     Process::Starting,
     209},
    {"not without process control", [](SimulatedController&) { ::setenv("MC_ARCH", "PC", 1); }},
    {"not a suspended one",
     [](SimulatedController& controller) {
       controller.at(150, [] { AppManager::setProcessSuspend(token("a"), true); });
     }},
    {"not while a restart that was asked for has not been seen",
     [](SimulatedController& controller) {
       controller.at(199, [] { AppManager::restartProcess(token("a")); });
     }},
};

TEST(Loop, StartsADaemonThatIsDown) {
  for (const auto& row : downRows) {
    SCOPED_TRACE(row.name);
    SimulatedController controller({"a"}, 10);
    controller.addProcess(50, "/bin/a");
    controller.at(200, [&] { controller.removeProcess(50); });
    row.prepare(controller);
    controller.build();
    controller.runUntil(row.end);
    EXPECT_EQ(controller.timesOf("/app/etc/init.d/aS start"), row.starts);
    EXPECT_EQ(controller.log.count("AppManager: Restarting a"), std::ssize(row.starts));
    EXPECT_EQ(controller.stateOf("a"), row.state);
  }
}

TEST(Loop, KillsADaemonThatWillNotGoDown) {
  SimulatedController controller;
  controller.setList("data", {"a"});
  controller.setInt("pollSeconds", 30);
  controller.setInt("noKillSeconds", 5);
  controller.addProcess(50, "/bin/a");
  controller.addProcess(51, "/bin/a");
  controller.addProcess(52, "/bin/a");
  controller.machine.onCommand("kill -9 50", [&](const platform::Command&) {
    controller.addProcess(52, "/bin/b");  // meanwhile it has ended, and another has its pid
    return platform::Result{};
  });
  AppManager& manager = controller.build();
  controller.at(10,
                [&] { manager.serviceEvent(strings::token<"goingDown">, "a is about to end"); });
  controller.at(21, [&] { controller.removeProcess(50); });
  controller.at(26, [&] { controller.removeProcess(51); });
  controller.runUntil(40);
  EXPECT_EQ(controller.timesOf("kill -9 50"), Times{16});
  EXPECT_EQ(controller.timesOf("kill -9 51"), (Times{16, 22})) << "renewed after each kill";
  EXPECT_EQ(controller.timesOf("kill -9 52"), Times{});
  EXPECT_TRUE(controller.log.has("AppManager: a (50) is still up, killing it ..."));
  EXPECT_EQ(controller.stateOf("a"), Process::Down);
}

TEST(Loop, SleepsAWholePeriodAfterAnOverlongCycle) {
  SimulatedController controller;
  controller.setList("data", {"a"});
  controller.setInt("pollSeconds", 10);
  controller.addProcess(1, "/bin/x");
  controller.onInit("a", "start", [&] {
    controller.machine.pass(14 * test::second);  // a cycle that takes 14 seconds
    controller.addProcess(60, "/bin/a");
  });
  controller.build();
  controller.at(155, [&] { EXPECT_EQ(controller.stateOf("a"), Process::Starting); });
  controller.at(161, [&] { EXPECT_EQ(controller.stateOf("a"), Process::Up); });
  controller.runUntil(170);  // started at 136, the cycle ends at 150, the next begins at 160
}

TEST(Loop, TracksProcessesEveryThreeHundredSeconds) {
  SimulatedController controller;
  controller.setList("data", {"a"});
  controller.setInt("pollSeconds", 1);
  controller.addProcess(50, "/bin/a");
  controller.build();
  controller.at(299, [&] { EXPECT_EQ(controller.log.count("MEM: F/"), 1); });
  controller.at(599, [&] { EXPECT_EQ(controller.log.count("MEM: F/"), 2); });
  controller.runUntil(600);
  EXPECT_EQ(controller.log.count("MEM: F/"), 2);
}

TEST(Loop, WritesACrashEventForEachRestart) {
  SimulatedController controller;
  controller.setList("data", {"a"});
  controller.setInt("pollSeconds", 10);
  controller.writeFile("/cfg/do.crashmail", "");
  controller.writeFile("/var/log/crash.events", "old line\n");
  controller.build();
  controller.runUntil(150);
  const std::string events = controller.readFile("/var/log/crash.events");
  EXPECT_TRUE(events.starts_with("old line\n20")) << events;
  EXPECT_TRUE(events.ends_with(": a down, restarted\n")) << events;
  EXPECT_EQ(std::count(events.begin(), events.end(), '\n'), 2);
}

TEST(Loop, WritesItsDebugLinesWithItsFlag) {
  SimulatedController controller;
  utility::Debug::setDebug(strings::token<"AppManager">, true);
  controller.setList("data", {" a/b ", "c"});
  controller.setList("nokill", {"a", "other"});
  controller.setInt("pollSeconds", 10);
  std::filesystem::create_directories(controller.machine.root() + "/proc/77");
  controller.build();
  controller.at(5, [] { AppManager::restartProcess(token("a")); });
  controller.runUntil(140);
  utility::Debug::setDebug(strings::token<"AppManager">, false);
  const char* const lines[] = {
      "AppManager: 2 processes found\n",
      "AppManager: monitoring process:  a/b \n",
      "]: a : false / b\n",
      "]: c : false / -\n",
      "AppManager: prcessindex for nokill\n",
      "AppManager: other not found in process list; it can not be                             "
      "added to the nokill list\n",
      "]:  Open Sys-Call returned -1\n",
      "]: restarting process a - open\n",
      "]: restarting process a - restart\n",
      "]: restopping process a - close\n",
      "AppManager: process c [] Unclassified \n",
      "AppManager: should we restart c\n",
      "AppManager: done monitoring processes\n",
  };
  for (const char* line : lines) EXPECT_TRUE(controller.log.has(line)) << line;
}

TEST(Loop, GoesOnAfterAnExceptionInACycle) {
  SimulatedController controller;
  controller.setList("data", {"a"});
  controller.setInt("pollSeconds", 10);
  controller.onInit("a", "start", [] { throw std::runtime_error("no more"); });
  controller.build();
  controller.runUntil(170);
  EXPECT_GE(controller.log.count("AppManager: poll cycle ended by an exception: no more"), 2);
  EXPECT_GE(controller.timesOf("/app/etc/init.d/aS start").size(), 2U);
}

}  // namespace
}  // namespace services::app
