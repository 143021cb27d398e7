// The management interfaces' events, and the whole of the SNMP agent's file: order, signal,
// failures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "support/ManagedInterfaces.h"
#include "support/Printed.h"
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
  return static_cast<int>(
      step(SYS_rename, reinterpret_cast<long>(from), reinterpret_cast<long>(to)));
}
}

namespace services::app {
namespace {

using strings::stringtoken;
using sysinfo::SysInfo;
using test::Names;
using test::snmpdConf;
using testing::ElementsAre;
using testing::IsEmpty;
using user::User;
using user::UserManager;
using Manager = InterfaceManager;

const std::string plain = "rocommunity public\nrwcommunity private\ntrapcommunity public\n";
const std::string restricted =
    "view mgmtprivate included .1.3.6.1.2.1.1\nview mgmtprivate included .1.3.6.1.4\n"
    "rocommunity public default -V mgmtprivate\nrwcommunity private default -V mgmtprivate\n"
    "trapcommunity public\nengineIDType 3\n";

User userOf(const char* name, const char* roles) {
  User user(name);
  utility::TokenSet set(20);
  set.SetFromStringList(roles);
  user.setInterfaces(set);
  return user;
}

std::string linesOf(const char* name) {
  return std::string("rwuser ") + name + " noauth\ncreateUser " + name + " \n";
}

class InterfaceEvents : public testing::Test, protected test::ManagedInterfaces {
 protected:
  ~InterfaceEvents() override { UserManager::getManager()->load({}); }

  // Builds the service over an agent's file of its own.
  void buildOver(const Names& names, const std::map<std::string, bool>& flags) {
    controller.writeFile(snmpdConf, "old\n");
    build(names, flags);
    newCommands();
  }
  std::string file() const { return controller.readFile(snmpdConf); }
};

TEST_F(InterfaceEvents, AChangeOfTheSystemInformation) {
  const Names snmp = {"Snmp"}, smis = {"Smis"}, both = {"Smis", "Usmis"}, other = {"Http"};
  const Names start = {"sfcbd start", "slpd start"}, stop = {"sfcbd stop", "slpd stop"},
              restart = {"sfcbd restart", "slpd restart"};
  const struct {
    const char* name;
    Names managing;
    bool snmpChanged, smisChanged;
    bool smisBefore, usmisBefore, smisAfter, usmisAfter;  // the forms that are wanted
    bool written;
    Names commands;
  } rows[] = {
      {"nothing changed", both, false, false, true, false, false, true, false, {}},
      {"SNMP", snmp, true, false, true, false, true, false, true, {}},
      {"SNMP, not managed", both, true, false, true, false, true, false, false, {}},
      {"off to secure", both, false, true, false, false, true, false, false, start},
      {"off to unsecured", both, false, true, false, false, false, true, false, start},
      {"secure to both", both, false, true, true, false, true, true, false, restart},
      {"unsecured to secure", both, false, true, false, true, true, false, false, restart},
      {"both to off", both, false, true, true, true, false, false, false, stop},
      {"off to off", both, false, true, false, false, false, false, false, stop},
      {"one form managed", smis, false, true, false, false, true, false, false, start},
      {"neither managed", other, false, true, false, false, true, false, false, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    buildOver(row.managing, {{"SmisDisable", !row.smisBefore}, {"UsmisEnable", row.usmisBefore}});
    for (const char* daemon : {"sfcbd", "slpd"}) setState(daemon, Process::Up);
    const bool acted = !row.commands.empty();
    const bool suspended = acted ? row.commands == stop : isSuspended("slpd");
    SysInfo changed;
    changed.setSmisDisable(!row.smisAfter);
    changed.setUsmisEnable(row.usmisAfter);
    changed.setSnmpChanged(row.snmpChanged);
    changed.setSmisChanged(row.smisChanged);
    EXPECT_FALSE(manager->serviceEvent(strings::tGSsysInfoChanged, &changed));
    EXPECT_EQ(file(), row.written ? plain : "old\n");
    EXPECT_EQ(newCommands(), row.commands);
    EXPECT_EQ(changed.getSnmpChanged(), row.snmpChanged && !row.written);
    EXPECT_EQ(changed.getSmisChanged(), row.smisChanged && !acted);
    EXPECT_EQ(isSuspended("sfcbd"), suspended);
    EXPECT_EQ(isSuspended("slpd"), suspended);
    if (row.managing != both) continue;
    EXPECT_EQ(Manager::isUp(Manager::Smis), acted ? row.smisAfter : row.smisBefore);
    EXPECT_EQ(Manager::isUp(Manager::Usmis), acted ? row.usmisAfter : row.usmisBefore);
  }
}

TEST_F(InterfaceEvents, AChangeOfAUser) {
  const User withAccess = userOf("al", "Smis"), without = userOf("al", "Usmis");
  const struct {
    const char* name;
    stringtoken event;
    const User* user;
    bool smis, usmis;  // the forms that the settings want
    bool written, restarted;
  } rows[] = {
      {"first kind", strings::tGSuserChanged, &withAccess, true, true, true, false},
      {"second kind", strings::tGSuserAccessChanged, &withAccess, true, false, true, true},
      {"unsecured", strings::tGSuserAccessChanged, &withAccess, false, true, true, true},
      {"provider off", strings::tGSuserAccessChanged, &withAccess, false, false, true, false},
      {"no access", strings::tGSuserAccessChanged, &without, true, true, true, false},
      {"no record", strings::tGSuserAccessChanged, nullptr, true, true, false, false},
      {"no change", strings::token<"goingDown">, &withAccess, true, true, false, false},
  };
  buildOver({}, {});
  EXPECT_THAT(std::vector(manager->eventSubscription(), manager->eventSubscription() + 4),
              ElementsAre(strings::tGSsysInfoChanged, strings::tGSuserChanged,
                          strings::tGSuserAccessChanged, strings::tGSendOfList));
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    buildOver({"Http"}, {{"SmisDisable", !row.smis}, {"UsmisEnable", row.usmis}});
    for (const auto daemon : {cimServer, cimCompanion}) AppManager::setProcessSuspend(daemon, true);
    EXPECT_FALSE(manager->serviceEvent(row.event, row.user));
    EXPECT_EQ(file(), row.written ? plain : "old\n");
    EXPECT_EQ(newCommands(), row.restarted ? Names({"sfcbd restart", "slpd restart"}) : Names());
    EXPECT_EQ(isSuspended("sfcbd"), !row.restarted);
    EXPECT_EQ(isSuspended("slpd"), !row.restarted);
  }
}

TEST_F(InterfaceEvents, TheChangedUserIsWrittenLastAndOnce) {
  const User roleless = userOf("b", ""), target = userOf("b", "SnmpTarget");
  const User agents = userOf("comm3", "SnmpTarget");
  const std::string longest(28, 'n');
  User deleted = userOf("b", "SnmpUser");
  deleted.setDeleted(true);
  const std::string a = linesOf("a"), b = linesOf("b"), c = linesOf("c");
  const struct {
    const char* name;
    Names users;  // in force
    const User* changed;
    std::string lines;
  } rows[] = {
      {"none changed", {"a", "b", "c"}, nullptr, a + b + c + restricted},
      {"in force",
       {"a", "b", "c"},
       &target,
       a + c + "trapsess -v 3 -u b -l noAuthNoPriv \n" + restricted},
      {"role gone", {"a", "b", "c"}, &roleless, a + c + restricted},
      {"deleted", {"a", "c"}, &deleted, a + c + restricted},
      {"the only one deleted", {"b"}, &deleted, plain},
      {"the only one", {}, &target, "trapsess -v 3 -u b -l noAuthNoPriv \n" + restricted},
      {"names that the agent takes for others'",
       {"comm", "comm2", "comm2x", "commx2", longest, longest + "n"},
       &agents,
       linesOf("comm") + linesOf("comm2x") + linesOf("commx2") + linesOf(longest.c_str()) +
           restricted},
  };
  for (const auto& row : rows) {
    sysinfo::Rows stored;
    for (const auto& name : row.users) stored[{"user " + name, "Interfaces"}] = "SnmpUser";
    UserManager::getManager()->load(stored);
    buildOver({}, {});
    manager->updateSnmpdConfiguration(nullptr, row.changed);
    EXPECT_EQ(file(), row.lines) << row.name;
  }
}

TEST_F(InterfaceEvents, TheAgentIsSignalledWhenItRunsAndTheDebugLinesTellEachStep) {
  UserManager::getManager()->addUser(userOf("a", ""));
  UserManager::getManager()->addUser(userOf("b", "SnmpUser"));
  buildOver({}, {});
  controller.addProcess(76, "/bin/not-snmpd");
  manager->updateSnmpdConfiguration(nullptr, nullptr);
  EXPECT_THAT(newCommands(), IsEmpty());
  controller.addProcess(77, "/opt/bin/snmpd -f");
  const test::DebugLines debug(strings::token<"InterfaceManager">);
  const User changed = userOf("b", "SnmpUser");
  const std::int64_t before = controller.machine.elapsed();
  manager->serviceEvent(strings::tGSuserChanged, &changed);
  EXPECT_THAT(newCommands(), ElementsAre("kill -WINCH 77"));
  EXPECT_EQ(controller.machine.elapsed() - before, 1200000);
  const std::pair<const char*, int> lines[] = {
      {"SERVICE EVENT: userChanged", 1},
      {"user object changed, see if any thing of interest affected ....", 1},
      {"RUNNING - SNMP parameter change, numUsers 2 pSysInfo 0x", 1},
      {"SNMP parameter change, user 0 present pMyUser 0x", 2},
      {"SNMP parameter change, user 1 present pMyUser 0x", 2},
      {"RUNNING - SNMP parameter change, user 0 0x", 1},
      {"RUNNING - SNMP parameter change, user 1 (nil)", 1},
      {"SNMP parameter change, null user 1 present pMyUser 0x", 1},
      {"RUNNING - SNMP parameter change, engineIDType set", 1},
      {"syncSnmpConfig restart issued, pid 77", 1}};
  for (const auto& [text, count] : lines) EXPECT_EQ(controller.log.count(text), count) << text;
}

TEST_F(InterfaceEvents, AFileThatCannotBeReplacedIsLeftAndNobodySignalled) {
  buildOver({}, {});
  controller.addProcess(77, "/opt/bin/snmpd -f");
  const std::string target = controller.machine.root() + snmpdConf, temporary = target + ".new";
  // A directory where the new content is to be written, then in the target's place, then none at
  // all that could hold the file.
  std::filesystem::create_directory(temporary);
  manager->updateSnmpdConfiguration(nullptr, nullptr);
  EXPECT_EQ(file(), "old\n");
  std::filesystem::remove(temporary);
  std::filesystem::remove(target);
  std::filesystem::create_directory(target);
  manager->updateSnmpdConfiguration(nullptr, nullptr);
  EXPECT_TRUE(std::filesystem::is_directory(target));
  EXPECT_FALSE(std::filesystem::exists(temporary));
  ::setenv("MC_CONFIG", "/none", 1);
  manager->updateSnmpdConfiguration(nullptr, nullptr);
  EXPECT_EQ(controller.log.count("snmpd.conf file open failed"), 3);
  EXPECT_NE(sysinfo::Untold::instance().finding(), "");
  EXPECT_THAT(newCommands(), IsEmpty());
}

TEST_F(InterfaceEvents, ACrashOrAFailureAtAnyStepLeavesTheOldFileOrTheNew) {
  constexpr int signalled = 1;
  controller.addProcess(77, "/opt/bin/snmpd -f");
  const std::string temporary = std::string(snmpdConf) + ".new";
  for (const Trouble kind : {Trouble::crash, Trouble::failure}) {
    int steps = 0;
    for (bool reached = true; reached; ++steps) {
      SCOPED_TRACE(steps);
      buildOver({}, {});
      const pid_t child = ::fork();
      if (child == 0) {
        framework::Logger::setLevel(-1);  // its lines would be steps
        stepsToTrouble = steps;
        trouble = kind;
        manager->updateSnmpdConfiguration(nullptr, nullptr);
        ::_exit(newCommands().empty() ? 0 : signalled);
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
