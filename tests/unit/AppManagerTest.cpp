// The supervision service where no history leads: results that do not fit, failures, hostile texts,
// statistics that are saved, and claims of real threads against the monitor thread and the
// shutdown.
#include <latch>

#include "app/supervision/app_AppManagerCommandBundle.h"
#include "host/service/fw_EventManager.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

using test::SimulatedController;

strings::stringtoken token(const char* name) { return strings::GS.toToken(name); }

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

TEST(Control, KeepsTheLeadingOutputOfACommand) {
  std::array<char, 5> text;
  EXPECT_TRUE(AppManager::getExternalValue("echo ABCDEFGH", text.data(), 5));
  EXPECT_STREQ(text.data(), "ABCD");
  EXPECT_FALSE(AppManager::getExternalValue("false", text.data(), 5));
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

TEST(Flapping, RaisesAnEvent) {
  auto& events = framework::EventManager::instance();
  events.start({});
  SimulatedController controller({"steady", "failing"}, 10);
  controller.addProcess(70, "/bin/steady");
  controller.build();
  controller.runUntil(500);
  events.stop();
  const auto raised = events.recent();
  ASSERT_EQ(raised.size(), 1U);
  EXPECT_EQ(raised[0].event, strings::stringtoken(strings::token<"daemonFlapping">));
  EXPECT_EQ(raised[0].text, "failing");
}

TEST(MemoryCommands, SaveWritesWhatOutputPrints) {
  framework::Shell shell;
  AppManagerCommandBundle("Bundle").initializeCommands(shell);
  test::SimulatedController controller({}, 120);
  controller.build();
  controller.runUntil(120L * 600);  // more than the file stream's buffer holds
  controller.writeFile("/tmp/track.csv", std::string(100000, 'x'));
  EXPECT_EQ(test::ask(shell, "memory stats save /tmp/track.csv"),
            "0 Saved memory statistics to /tmp/track.csv\n");
  const std::string saved = controller.readFile("/tmp/track.csv");
  EXPECT_EQ(test::ask(shell, "memory stats output"), "0 " + saved);
  EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), 601);
  EXPECT_EQ(test::ask(shell, "memory stats save /tmp"), "13 Cannot open file /tmp");
  ASSERT_EQ(::mkfifo((controller.machine.root() + "/tmp/fifo").c_str(), 0600), 0);
  EXPECT_EQ(test::ask(shell, "memory stats save /tmp/fifo"), "13 Cannot open file /tmp/fifo");
  {
    const test::Limit full(RLIMIT_FSIZE, saved.size() - 1);
    EXPECT_EQ(test::ask(shell, "memory stats save /tmp/full.csv"),
              "13 Cannot write file /tmp/full.csv\n");
  }
  EXPECT_FALSE(controller.hasFile("/tmp/full.csv"));
}

// The service on the real machine, where it controls nothing: its kill script and its commands are
// not for a test. Only the table counts here.
class Claims : public testing::Test {
 protected:
  Claims() {
    ::setenv("MC_ARCH", "PC", 1);
    framework::Config::setConfig(test::configOf(
        {{"AppManager.data", test::listOf({"no-such-daemon-a", "no-such-daemon-b"})}}));
    manager = std::make_unique<AppManager>("AppManager");
  }

  const strings::stringtoken a = token("no-such-daemon-a");
  std::unique_ptr<AppManager> manager;
};

TEST_F(Claims, AreGivenUpAtShutdown) {
  Process* held = manager->openProcess(a);
  std::latch waiting(1);
  std::jthread other([&] {
    waiting.count_down();
    EXPECT_EQ(manager->openProcess(a), nullptr);
  });
  waiting.wait();
  manager->Shutdown();
  other.join();
  manager->closeProcess(held);
}

TEST_F(Claims, KeepCallersAndTheMonitorThreadApart) {
  int unguarded = 0;  // a data race, unless the claim keeps the threads apart
  std::jthread monitor([&] { manager->threadDo(0); });
  {
    std::array<std::jthread, 3> callers;
    for (auto& caller : callers)
      caller = std::jthread([&] {
        std::array<char, 4096> text;
        for (int i = 0; i < 60; ++i) {
          Process* process = manager->openProcess(a);
          ++unguarded;
          manager->closeProcess(process);
          utility::BufferStream report(text.data(), static_cast<int>(text.size()), true);
          manager->information(report, 0, false);
          AppManager::setProcessSuspend(a, i % 2 == 0);
          manager->serviceEvent(strings::token<"goingDown">, "no-such-daemon-b");
          manager->propagateServiceEvent(a, strings::tGSlogMigrationMc1);
          utility::IntArray pids;
          manager->getAllPids(pids);
          EXPECT_GE(pids.Length(), 1U);
        }
      });
  }
  manager->Shutdown();
  EXPECT_EQ(unguarded, 180);
}

}  // namespace
}  // namespace services::app
