// The SNMP agent's file where it cannot be written, at each step.
#include <fcntl.h>

#include "support/ManagedInterfaces.h"
#include "sysinfo/manager/si_Untold.h"
#include "sysinfo/manager/us_UserManager.h"

namespace {

// The step of a replacement at which the process ends or the system fails; -1 for none.
enum class Trouble { none, crash, failure };
Trouble trouble = Trouble::none;
int stepsToTrouble = -1;

// Whether this step is to fail.
bool isTroubled() {
  if (trouble == Trouble::none || stepsToTrouble-- != 0) return false;
  if (trouble == Trouble::crash) ::_exit(0);
  errno = EIO;
  return true;
}

long step(long number, long first, long second = 0, long third = 0) {
  return isTroubled() ? -1 : ::syscall(number, first, second, third);
}

}  // namespace

// In place of the C library's, for the host's library too.
extern "C" {
ssize_t write(int descriptor, const void* data, size_t size) {
  return step(SYS_write, descriptor, reinterpret_cast<long>(data), static_cast<long>(size));
}
int fsync(int descriptor) { return static_cast<int>(step(SYS_fsync, descriptor)); }
int rename(const char* from, const char* to) noexcept {
  return isTroubled() ? -1 : ::renameat(AT_FDCWD, from, AT_FDCWD, to);
}
}

namespace services::app {
namespace {

using test::Names;
using test::snmpdConf;
using Manager = InterfaceManager;

const std::string plain = "rocommunity public\nrwcommunity private\ntrapcommunity public\n";
class InterfaceEvents : public testing::Test, protected test::ManagedInterfaces {
 protected:
  InterfaceEvents() { buildOverOld(); }
  ~InterfaceEvents() override { user::UserManager::getManager()->load({}); }
  void buildOverOld() {
    controller.writeFile(snmpdConf, "old\n");
    sysInfo.emplace(std::map<std::string, std::string>(), std::map<std::string, bool>());
    build(Names{"Snmp"});
    newCommands();
  }
  std::string file() const { return controller.readFile(snmpdConf); }
};

// Whatever ends the process or fails while the file is replaced: the old one stands there or the
// new, nobody is signalled for the old one, and the next change goes through.
TEST_F(InterfaceEvents, ACrashOrAFailureAtAnyStepLeavesTheOldFileOrTheNew) {
  const std::string temporary = snmpdConf + std::string(".new");
  std::filesystem::create_directory(controller.machine.root() + temporary);  // cannot be opened
  manager->updateSnmpdConfiguration(nullptr, nullptr);
  EXPECT_EQ(file(), "old\n");
  EXPECT_EQ(controller.log.count("snmpd.conf file open failed"), 1);
  EXPECT_NE(sysinfo::Untold::instance().finding(), "");
  std::filesystem::remove(controller.machine.root() + temporary);
  controller.addProcess(77, "/opt/bin/snmpd -f");
  for (const Trouble kind : {Trouble::crash, Trouble::failure}) {
    int steps = 0;
    for (bool reached = true; reached; ++steps) {
      SCOPED_TRACE(steps);
      buildOverOld();
      const pid_t child = ::fork();
      if (child == 0) {
        framework::Logger::setLevel(-1);  // its lines would be steps
        stepsToTrouble = steps;
        trouble = kind;
        manager->updateSnmpdConfiguration(nullptr, nullptr);
        ::_exit(newCommands().empty() ? 0 : 1);
      }
      int status = 0;
      ::waitpid(child, &status, 0);
      reached = WEXITSTATUS(status) == 0;
      EXPECT_TRUE(file() == plain || (reached && file() == "old\n")) << file();
      EXPECT_TRUE(kind == Trouble::crash || !controller.hasFile(temporary));
      manager->updateSnmpdConfiguration(nullptr, nullptr);
      EXPECT_EQ(file(), plain) << "what a crash leaves behind stands in nobody's way";
    }
    EXPECT_EQ(steps, 5) << "a write, the content to the disk, the name, the directory";
  }
}

}  // namespace
}  // namespace services::app
