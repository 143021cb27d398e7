// The log is flooded while daemons are restarted and manifests handed over, by real threads: the
// monitor thread logs with the table lock held, the logging thread takes that lock.

#include "app/archive/app_AppFileLogger.h"
#include "app/supervision/app_AppManager.h"
#include "host/machine/LinuxPlatform.h"
#include "support/SysInfoSetting.h"

namespace services::app {
namespace {

constexpr unsigned int watchdogSeconds = 100;
constexpr int wanted = 30;  // restarts, and hand-overs
constexpr int speed = 1000;

// The real machine with a clock and waits a thousand times as fast, so that the start-up period of
// the supervision is soon over; commands are counted, not run.
class FastMachine : public platform::LinuxPlatform {
 public:
  FastMachine() : m_start(LinuxPlatform::now()) { Platform::install(this); }
  ~FastMachine() { Platform::install(nullptr); }

  std::int64_t now() override { return m_start + (LinuxPlatform::now() - m_start) * speed; }
  void wait(platform::WaitPoint& point, std::int64_t microseconds) override {
    LinuxPlatform::wait(point, microseconds / speed);
  }
  platform::Result run(const platform::Command& /*command*/) override {
    ++m_commands;
    return {};
  }

  int commands() const { return m_commands; }

 private:
  const std::int64_t m_start;
  std::atomic<int> m_commands = 0;
};

// Without the list of daemons to spare, the kill script is not written and the poll cycles follow
// each other at once.
void configure(const std::string& directory) {
  framework::Config::setConfig(test::configOf(
      {{"AppManager.data", test::listOf({"logmigrated", "never-up-1", "never-up-2"})},
       {"AppFileLogger.directory", directory},
       {"AppFileLogger.archive", true},
       {"AppFileLogger.maxSize", 8192},
       {"AppFileLogger.keep", 20},
       {"AppFileLogger.archiveMigrationThreshold", 16384},
       {"AppFileLogger.archiveMigrationMaxSize", 65536}}));
  ::setenv("MC_ARCH", "ARM", 1);
}

TEST(ArchiveFlood, EndsWithoutADeadlock) {
  ::alarm(watchdogSeconds);
  FastMachine machine;
  const test::Temporary files;
  const test::SysInfoSetting sysInfo({}, {{"ManagedLogsEnable", true}});
  configure(files.path(""));
  ASSERT_TRUE(framework::Logger::start({.destination = "/dev/null"}));
  AppFileLogger logger("AppFileLogger", nullptr);
  AppManager manager("AppManager");
  logger.Startup();
  std::thread monitor([&] { manager.threadDo(0); });
  std::atomic<bool> enough = false;
  std::thread flood([&] {
    while (!enough) manager.LogInfo("%s", std::string(200, 'x').c_str());
  });
  for (int consumed = 0; consumed < wanted || machine.commands() < wanted;) {
    if (std::filesystem::remove(files.path("logArchive.manifest"))) ++consumed;
    std::this_thread::yield();
  }
  enough = true;
  flood.join();
  manager.Shutdown();
  monitor.join();
  logger.Shutdown();
  framework::Logger::stop();
  ::alarm(0);
}

}  // namespace
}  // namespace services::app
