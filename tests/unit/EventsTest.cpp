// The supervision service's events, signals to daemons, and lock tracking.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "host/framework/ap_ApplicationService.h"
#include "host/framework/fw_LockManager.h"
#include "host/framework/fw_ManagedLogs.h"
#include "host/framework/st_StringRepository.h"
#include "support/Printed.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

using platform::SimulatedPlatform;
using strings::stringtoken;
using test::SimulatedController;
using Signals = std::vector<SimulatedPlatform::Signalled>;

constexpr int eventSignal = 45;

stringtoken token(const char* name) { return strings::GS.toToken(name); }

TEST(Events, EachHasItsResultItsLineAndItsReport) {
  const struct {
    stringtoken event;
    const char* data;
    bool result;
    const char* line;
    int code;  // of the managed-logs report, 0 for none
  } rows[] = {
      {strings::token<"goingDown">, "none", false, "SERVICE EVENT: goingDown - none", 0},
      {strings::token<"goingDown">, nullptr, false, "SERVICE EVENT: goingDown - -", 0},
      {strings::token<"killNonEssentialProcesses">, nullptr, false,
       "AppManager.killNonEssential: property not supplied.  Needed for AppManager processes.", 0},
      {strings::token<"logMigration">, nullptr, false,
       "AppManager::serviceEvent got tGSlogMigration event MC1: send managed logs CAPI event. \n",
       0},
      {strings::token<"logMigrationMc1">, nullptr, true,
       "AppManager::serviceEvent tGSlogMigrationMc1: sent managed logs CAPI event.  status 0\n",
       400},
      {strings::token<"logMigrationMc2">, nullptr, true, "tGSlogMigrationMc2: sent managed logs",
       401},
      {strings::token<"logMigrationMc3">, nullptr, true, "tGSlogMigrationMc3: sent managed logs",
       402},
      {strings::token<"shutdown">, "a b", false, "SERVICE EVENT: shutdown - a b", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    SimulatedController controller;
    AppManager& manager = controller.build();
    const std::size_t before = framework::managedLogsReports().size();
    EXPECT_EQ(manager.serviceEvent(row.event, row.data), row.result);
    EXPECT_TRUE(controller.log.has(row.line));
    const stringtoken* event = manager.eventSubscription();
    while (*event != row.event && *event != strings::tGSendOfList) ++event;
    EXPECT_EQ(*event == row.event, row.event != strings::token<"shutdown">) << "subscribed to";
    const auto reports = framework::managedLogsReports();
    ASSERT_EQ(reports.size(), before + (row.code == 0 ? 0 : 1));
    if (row.code == 0) continue;
    EXPECT_EQ(reports.back().code, row.code);
    EXPECT_EQ(reports.back().component, 12);
  }
}

TEST(GoingDown, MarksTheFirstDaemonWhoseNameBeginsTheData) {
  const std::pair<const char*, std::string> rows[] = {
      {"slpd is about to end", "slpd"},
      {"slpdx", "slpd"},
      {"slp", ""},
      {" slpd", ""},
      {"snmpd x", "snm"},
      {"", ""},
  };
  for (const auto& [data, marked] : rows) {
    SimulatedController controller({"snmpd", "snm", "slpd"}, 0);
    controller.build().serviceEvent(strings::token<"goingDown">, data);
    for (const std::string daemon : {"slpd", "snm", "snmpd"}) {
      EXPECT_EQ(controller.stateOf(daemon) == Process::GoingDown, daemon == marked)
          << data << ": " << daemon;
    }
  }
}

TEST(KillNonEssential, SuspendsAndKillsWhatIsListed) {
  const test::DebugLines debug(strings::token<"AppManager">);
  SimulatedController controller({"one", "two", "three"}, 0);
  controller.setList("killNonEssential", {"  two ", " \t\r\n", "ghost", "", "\tone\n"});
  AppManager& manager = controller.build();
  EXPECT_FALSE(manager.serviceEvent(strings::token<"killNonEssentialProcesses">, nullptr));
  EXPECT_THAT(controller.commandLines(), testing::ElementsAre("killall -9 two", "killall -9 one"));
  EXPECT_TRUE(AppManager::getProcessSuspend(token("one")));
  EXPECT_TRUE(AppManager::getProcessSuspend(token("two")));
  EXPECT_FALSE(AppManager::getProcessSuspend(token("three")));
  EXPECT_EQ(controller.log.count("processindex for nonEssential"), 2);
  EXPECT_TRUE(controller.log.has("ghost not found in process list; it can not be" +
                                 std::string(33, ' ') + "killed as non-essential\n"));
}

TEST(Propagate, SignalsTheDaemonsFirstInstance) {
  const test::DebugLines debug(strings::token<"AppManager">);
  SimulatedController controller({"absent", "web", "sfcbd/sfcbd", "reused"}, 0);
  controller.addProcess(50, "/app/bin/web");
  controller.addProcess(52, "/opt/sbin/sfcbd");
  controller.addProcess(53, "/bin/reused");
  AppManager& manager = controller.build();
  controller.runUntil(1);
  controller.addProcess(53, "/bin/another");  // has got the pid since the scan
  const auto signalsOf = [&](const char* daemon) {
    const std::size_t before = controller.machine.signals().size();
    manager.propagateServiceEvent(token(daemon), strings::token<"logMigrationMc1">);
    const Signals& all = controller.machine.signals();
    return Signals(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
  };
  EXPECT_EQ(signalsOf("web"), (Signals{{50, eventSignal, strings::token<"logMigrationMc1">}}));
  EXPECT_TRUE(controller.log.has("found process web, sending to pid: 50"));
  EXPECT_EQ(signalsOf("absent"), Signals{});
  EXPECT_EQ(signalsOf("unknown"), Signals{});
  EXPECT_EQ(signalsOf("reused"), Signals{});
  EXPECT_EQ(signalsOf("sfcbd"), Signals{}) << "it has no portal";
  EXPECT_EQ(controller.log.count("sending to pid"), 1);
  const auto portal = ApplicationService::registerPortal("sfcbd", 77);
  EXPECT_EQ(signalsOf("sfcbd"), (Signals{{77, eventSignal, strings::token<"logMigrationMc1">}}));
  EXPECT_TRUE(controller.log.has("found process sfcbd, sending to pid: 77"));
  ApplicationService::unregisterPortal("sfcbd", portal);
}

// A process that ends with 0 once it is sent the signal with that value.
pid_t childThatExpects(int value) {
  sigset_t wanted;
  ::sigemptyset(&wanted);
  ::sigaddset(&wanted, eventSignal);
  ::sigprocmask(SIG_BLOCK, &wanted, nullptr);  // for the child, which inherits it
  const pid_t child = ::fork();
  if (child != 0) {
    ::sigprocmask(SIG_UNBLOCK, &wanted, nullptr);
    return child;
  }
  const timespec limit{.tv_sec = 20, .tv_nsec = 0};
  siginfo_t received{};
  const int signal = ::sigtimedwait(&wanted, &received, &limit);
  ::_exit(signal == eventSignal && received.si_value.sival_int == value ? 0 : 1);
}

TEST(Propagate, ARealProcessReceivesTheSignalWithTheToken) {
  const pid_t child = childThatExpects(strings::token<"logMigrationMc3">);
  framework::Config::setConfig({});  // on the real machine: no lists, so no script is written
  const AppManager manager("AppManager");
  const auto portal = ApplicationService::registerPortal("sfcbd", child);
  manager.propagateServiceEvent(strings::token<"sfcbd">, strings::token<"logMigrationMc3">);
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  ApplicationService::unregisterPortal("sfcbd", portal);
}

TEST(LockTracking, RunsEvery30SecondsAndReleasesWhatADeadProcessHeld) {
  const test::DebugLines debug(strings::token<"AppManager">);
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ::waitpid(child, nullptr, 0);
  auto& locks = *framework::LockManager::getInstance();
  SimulatedController controller({}, 1);
  controller.setBool("doLockTrack", true);
  controller.build();
  const auto runs = [&] { return controller.log.count("LockTracking - unlock Dead PIDS"); };
  controller.at(1, [&] {
    EXPECT_EQ(runs(), 1);
    EXPECT_TRUE(locks.take("flash", child));
    EXPECT_TRUE(locks.take("disk", ::getpid()));
  });
  controller.at(30, [&] {
    EXPECT_EQ(runs(), 1) << "29 seconds after the first";
    EXPECT_FALSE(controller.log.has("Possible lock issue"));
  });
  controller.runUntil(62);
  EXPECT_EQ(runs(), 3);
  EXPECT_EQ(controller.log.count("Possible lock issue"), 1);
  EXPECT_EQ(locks.list().size(), 1U);
  EXPECT_TRUE(locks.release("disk", ::getpid()));
}

}  // namespace
}  // namespace services::app
