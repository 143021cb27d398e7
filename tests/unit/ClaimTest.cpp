// Claims on records by real threads, against each other, the monitor thread and the shutdown.

#include <latch>

#include "app/supervision/app_AppManager.h"
#include "support/Configured.h"
#include "support/Test.h"

namespace services::app {
namespace {

strings::stringtoken token(const char* name) { return strings::GS.toToken(name); }

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
