// The console's locks, portals and reports: whose they are, and that they go with the client.
#include <gtest/gtest.h>
#include <unistd.h>

#include "host/framework/ap_ApplicationService.h"
#include "host/framework/fw_HostCommands.h"
#include "host/framework/fw_LockManager.h"
#include "host/framework/fw_ManagedLogs.h"
#include "host/framework/st_StringRepository.h"
#include "support/ConsoleSetting.h"

namespace framework {
namespace {

using services::app::ApplicationService;
using test::ask;
using test::Peer;

class RegistryCommands : public test::ConsoleServing {
 protected:
  RegistryCommands() { registerRegistryCommands(m_shell); }

  std::string askAs(Console& console, const char* line) const {
    return ask(m_shell, line, console);
  }
};

TEST_F(RegistryCommands, LocksAndPortalsAreThoseOfThePeerAndGoWithItsConnection) {
  const std::string self = std::to_string(::getpid());
  Peer first(m_path);
  Peer second(m_path);
  EXPECT_EQ(first.ask("lock take flash"), "0 lock flash taken\n");
  EXPECT_EQ(second.ask("lock take disk"), "0 lock disk taken\n");
  EXPECT_EQ(first.ask("portal register sfcbd"), "0 portal of sfcbd registered\n");
  EXPECT_EQ(first.ask("lock list"), "0 NAME   PID\ndisk   " + self + "\nflash  " + self + "\n");
  EXPECT_EQ(second.ask("portal list"), "0 NAME   PID\nsfcbd  " + self + "\n");
  EXPECT_EQ(ApplicationService::LookupPortalPrefix(strings::tGSsfcbd)->getPID(), ::getpid());
  first.close();
  EXPECT_TRUE(test::eventually([] {
    return LockManager::getInstance()->list().size() == 1 &&
           ApplicationService::listPortals().empty();
  }));
  EXPECT_EQ(second.ask("lock list"), "0 NAME  PID\ndisk  " + self + "\n");
  EXPECT_EQ(second.ask("lock release disk"), "0 lock disk released\n");
}

TEST_F(RegistryCommands, ALockHasOneHolder) {
  Console one(11);
  {
    Console other(12);
    EXPECT_EQ(askAs(one, "lock take a"), "0 lock a taken\n");
    EXPECT_EQ(askAs(other, "lock take a"), "13 lock a is held; see: lock list\n");
    EXPECT_EQ(askAs(other, "lock release a"), "13 this process does not hold the lock a\n");
    EXPECT_EQ(askAs(one, "lock release a"), "0 lock a released\n");
    EXPECT_EQ(askAs(other, "lock take a"), "0 lock a taken\n");
    EXPECT_EQ(askAs(other, "lock release a"), "0 lock a released\n");
    Console again(12);  // the same process over another connection
    EXPECT_EQ(askAs(again, "lock take a"), "0 lock a taken\n");
    EXPECT_EQ(askAs(one, "lock take a"), "13 lock a is held; see: lock list\n");
  }
  EXPECT_EQ(askAs(one, "lock list"), "0 NAME  PID\n");
}

TEST_F(RegistryCommands, WhatAProcessTookAgainOutlivesItsFirstConnection) {
  Console second(11);
  {
    Console first(11);
    for (const char* what : {"lock take L", "portal register web"}) askAs(first, what);
    for (const char* what : {"lock release L", "lock take L", "portal register web"}) {
      EXPECT_TRUE(askAs(second, what).starts_with("0 ")) << what;
    }
  }
  EXPECT_EQ(askAs(second, "lock list"), "0 NAME  PID\nL     11\n");
  EXPECT_EQ(askAs(second, "portal list"), "0 NAME  PID\nweb   11\n");
  EXPECT_EQ(askAs(second, "lock release L"), "0 lock L released\n");
}

TEST_F(RegistryCommands, WhatIsNoNameIsRefusedAndMakesNoToken) {
  Console console(11);
  Console unknown(0);
  const std::string rule =
      "; it is 1 to 64 letters, digits, \"_\", \"-\" and \".\" and begins with none of the last "
      "two\n";
  const struct {
    const char* line;
    std::string reply;
  } rows[] = {
      {"lock take", "1 usage: lock take NAME\n"},
      {"lock take a/b", "13 no name: a/b" + rule},
      {"lock take \"\"", "13 no name: " + rule},
      {"lock release", "1 usage: lock release NAME\n"},
      {"lock list a", "1 usage: lock list\n"},
      {"portal register", "1 usage: portal register NAME\n"},
      {"portal register -x", "13 no name: -x" + rule},
      {"portal register typed", "0 portal of typed registered\n"},
      {"portal list a", "1 usage: portal list\n"},
      {"managedlogs list a", "1 usage: managedlogs list\n"},
  };
  const auto before = strings::GS.toToken("before");
  for (const auto& row : rows) EXPECT_EQ(askAs(console, row.line), row.reply) << row.line;
  EXPECT_EQ(askAs(unknown, "lock take a"), "13 this client's process is not known here\n");
  EXPECT_EQ(strings::GS.toToken("after"), before + 1);
}

TEST_F(RegistryCommands, ReportsAreListed) {
  Console console(11);
  EXPECT_EQ(askAs(console, "managedlogs list"), "0 TIME  CODE  COMPONENT\n");
  for (int code = 300; code < 402; ++code) logManagedLogsEvent(code, 12);
  const std::string list = askAs(console, "managedlogs list");
  EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 101) << "the latest 100";
  EXPECT_EQ(list.find("301   12"), std::string::npos);
  EXPECT_TRUE(list.ends_with("  401   12\n")) << list;
}

}  // namespace
}  // namespace framework
