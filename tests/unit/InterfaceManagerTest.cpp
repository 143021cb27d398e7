// The management interfaces: construction, switching, asking, report.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "host/base/fw_Container.h"
#include "host/console/fw_Console.h"
#include "host/service/fw_ServiceFactory.h"
#include "host/web/ht_HttpServer.h"
#include "support/ManagedInterfaces.h"
#include "support/Printed.h"
#include "support/Temporary.h"
#include "util/fw_Exception.h"

namespace services::app {
namespace {

using framework::Container;
using test::Names;
using test::snmpdConf;
using testing::IsEmpty;
using Manager = InterfaceManager;
using Interfaces = InterfaceManager::Interfaces;

class InterfacesTest : public testing::Test, protected test::ManagedInterfaces {
 protected:
  ~InterfacesTest() override { Container::setConsole(nullptr); }
};

const struct Row {
  const char* name;
  const char* key;
  bool whenSet;   // the state that the setting asks for when it is true
  Names daemons;  // in the order of switching
  bool now;       // also a synchronisation starts and stops
} table[] = {
    {"Http", "HttpDisable", false, {}, true},
    {"Https", "HttpsDisable", false, {}, true},
    {"Telnet", "TelnetDisable", false, {"telnetd"}, false},
    {"Ssh", "SshDisable", false, {"sshd"}, false},
    {"Smis", "SmisDisable", false, {"slpd", "sfcbd"}, false},
    {"Ftp", "FtpDisable", false, {"ftpd"}, true},
    {"Snmp", "SnmpDisable", false, {"snmpd"}, true},
    {"Debug", "DebugDisable", false, {}, true},
    {"Usmis", "UsmisEnable", true, {"slpd", "sfcbd"}, false},
    {"ActivityProgress", "ActivityProgressDisable", false, {"activityd"}, true},
};

TEST_F(InterfacesTest, EachFollowsItsSettingThenSetUp) {
  for (const Row& row : table) {
    for (const bool up : {true, false}) {
      SCOPED_TRACE(std::string(row.name) + (up ? " up" : " down"));
      std::map<std::string, bool> flags;  // all others ask for the contrary
      for (const Row& each : table) flags[each.key] = (&each == &row) == (each.whenSet == up);
      Names commands;
      for (const auto& daemon : row.daemons) {
        commands.push_back(daemon + (up ? " start" : " stop"));
        AppManager::setProcessSuspend(strings::GS.toToken(daemon.c_str()), up);
      }
      build(Names{row.name}, flags);
      EXPECT_EQ(newCommands(), row.now ? commands : Names());
      for (const auto& daemon : row.daemons) EXPECT_EQ(isSuspended(daemon), !up) << daemon;
      const auto interface = static_cast<Interfaces>(strings::GS.toToken(row.name));
      EXPECT_EQ(Manager::setUp(interface, up), !row.daemons.empty()) << "no web, no console";
      EXPECT_EQ(newCommands(), commands);
      EXPECT_FALSE(Manager::isUp(interface));
      for (const auto& daemon : row.daemons) setState(daemon, Process::Up);
      EXPECT_EQ(Manager::isUp(interface), !row.daemons.empty() && (up || row.daemons.size() == 1));
      for (const auto& daemon : row.daemons) setState(daemon, Process::Down);
    }
  }
}

TEST_F(InterfacesTest, ADaemonCountsAsUpWhenItRunsOrStarts) {
  build(Names{"Telnet", "Smis"}, {{}});
  Manager::setUp(Manager::Smis, true);
  const std::pair<Process::State, bool> states[] = {{Process::Unclassified, false},
                                                    {Process::Up, true},
                                                    {Process::Starting, true},
                                                    {Process::GoingDown, false},
                                                    {Process::Down, false}};
  for (const auto& [state, up] : states) {
    for (const char* daemon : {"telnetd", "slpd", "sfcbd"}) setState(daemon, state);
    EXPECT_EQ(Manager::isUp(Manager::Telnet), up) << state;
    EXPECT_EQ(Manager::isUp(Manager::Smis), up) << state;
  }
  for (const char* daemon : {"slpd", "sfcbd"}) {
    setState(daemon, Process::Up);
    EXPECT_FALSE(Manager::isUp(Manager::Smis)) << daemon << " alone";
    setState(daemon, Process::Down);
  }
}

TEST_F(InterfacesTest, TheFormsOfSmisShareTheirDaemons) {
  using Switch = std::pair<Interfaces, bool>;
  const Switch smisOn{Manager::Smis, true}, smisOff{Manager::Smis, false};
  const Switch usmisOn{Manager::Usmis, true}, usmisOff{Manager::Usmis, false};
  const Names started = {"slpd start", "sfcbd start"}, stopped = {"slpd stop", "sfcbd stop"};
  const struct {
    const char* name;
    std::vector<Switch> before;
    Switch last;
    Names commands;  // of the last switch
    bool smis, usmis;
  } rows[] = {
      {"first on", {}, smisOn, started, true, false},
      {"second on", {smisOn}, usmisOn, started, true, true},
      {"one of two off", {smisOn, usmisOn}, usmisOff, {}, true, false},
      {"other of two off", {smisOn, usmisOn}, smisOff, {}, false, true},
      {"last off", {smisOn}, smisOff, stopped, false, false},
      {"never on", {}, usmisOff, stopped, false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    build(Names{"Smis", "Usmis"}, {{{"SmisDisable", true}, {"UsmisEnable", false}}});
    for (const char* daemon : {"slpd", "sfcbd"}) setState(daemon, Process::Up);
    for (const auto& [form, up] : row.before) Manager::setUp(form, up);
    newCommands();
    EXPECT_TRUE(Manager::setUp(row.last.first, row.last.second));
    EXPECT_EQ(newCommands(), row.commands);
    EXPECT_EQ(isSuspended("slpd"), row.commands == stopped);
    EXPECT_EQ(isSuspended("sfcbd"), row.commands == stopped);
    EXPECT_EQ(Manager::isUp(Manager::Smis), row.smis);
    EXPECT_EQ(Manager::isUp(Manager::Usmis), row.usmis);
  }
}

TEST(WebInterfaces, AreTheListenersOfTheWebServer) {
  const test::Temporary files;
  http::WebSettings settings;
  settings.address = test::ownAddress();
  settings.directory = files.path("");
  http::HttpServer server(settings, [] { return std::string(); });
  test::ManagedInterfaces controlled;
  controlled.build(Names{"Http", "Snmp", "Https"}, {{{"HttpsDisable", true}}});
  const auto report = [&](auto& stream) { controlled.manager->information(stream, 2, false); };
  EXPECT_EQ(test::printed(report), "  Http: ^^^^ Snmp: vvvv Https: vvvv \n");
  EXPECT_TRUE(Manager::setUp(Manager::Http, false));
  EXPECT_TRUE(Manager::setUp(Manager::Https, true));
  EXPECT_FALSE(server.isEnabledConnections("StandardListener"));
  EXPECT_TRUE(server.isEnabledConnections("SSLListener"));
  EXPECT_EQ(test::printed(report), "  Http: vvvv Snmp: vvvv Https: ^^^^ \n");
}

TEST_F(InterfacesTest, WhatIsNotManagedIsLeftAlone) {
  const test::DebugLines debug(strings::token<"InterfaceManager">);
  setState("snmpd", Process::Up);
  build(std::nullopt, {{}});
  EXPECT_EQ(controller.log.count("need managing set property"), 1);
  EXPECT_FALSE(Manager::setUp(Manager::Snmp, true));
  EXPECT_FALSE(Manager::isUp(Manager::Snmp));
  EXPECT_TRUE(isSuspended("snmpd")) << "its program is missing";
  EXPECT_THAT(newCommands(), IsEmpty());
  EXPECT_FALSE(controller.log.has("change interface"));
  build(Names{"Snmp"}, {{}});
  EXPECT_EQ(controller.log.count("change interface Snmp state to true"), 1);
  EXPECT_TRUE(Manager::isUp(Manager::Snmp));
  manager.reset();
  EXPECT_FALSE(Manager::setUp(Manager::Snmp, true)) << "without a service";
  EXPECT_FALSE(Manager::isUp(Manager::Snmp));
}

TEST_F(InterfacesTest, TheAgentsFileIsCreatedWhereItIsMissingOrEmpty) {
  const std::string fresh = "rocommunity public\nrwcommunity private\ntrapcommunity public\n";
  build(std::nullopt, {{}});
  EXPECT_EQ(controller.readFile(snmpdConf), fresh);
  for (const auto& [before, after] :
       {std::pair{std::string("own\n"), std::string("own\n")}, {std::string(), fresh}}) {
    controller.writeFile(snmpdConf, before);
    build(std::nullopt, {{}});
    EXPECT_EQ(controller.readFile(snmpdConf), after);
  }
  controller.writeFile(snmpdConf, "");
  build(Names{"Ftp"}, std::nullopt);
  EXPECT_EQ(controller.log.count("no system information to write snmpd.conf from"), 1);
  EXPECT_THAT(newCommands(), IsEmpty()) << "nothing is switched without the system information";
}

TEST_F(InterfacesTest, AConstructorThatThrowsLeavesNoService) {
  ::setenv("MC_CONFIG", std::string(120, 'x').c_str(), 1);
  try {
    build(std::nullopt, {{}});
    ADD_FAILURE() << "a path that was cut would be another path";
  } catch (framework::Exception* tooLong) {
    delete tooLong;
  }
  EXPECT_EQ(Manager::getSingleton(), nullptr);
}

TEST(Interfaces, NamesAreChecked) {
  const std::pair<const char*, std::size_t> rows[] = {
      {"Http", 0}, {" Usmis ", 0}, {"", 0}, {"http", 1}, {"Http,Ssh", 1}, {"SnmpUser", 1}};
  for (const auto& [entry, findings] : rows) {
    std::vector<framework::PropertyFinding> found;
    checkInterfaceName(entry, found);
    EXPECT_EQ(found.size(), findings) << entry;
  }
}

TEST_F(InterfacesTest, ShuttingTheOperatorOutIsWarnedOf) {
  const WayBack foreign{.daemon = true, .managed = false, .askedUp = false, .seenUp = false};
  const WayBack foreignUp{.daemon = true, .managed = false, .askedUp = false, .seenUp = true};
  const WayBack ending{.daemon = true, .managed = true, .askedUp = false, .seenUp = true};
  const WayBack starting{.daemon = true, .managed = true, .askedUp = true, .seenUp = false};
  const WayBack closed{.daemon = false, .managed = true, .askedUp = true, .seenUp = false};
  const WayBack open{.daemon = false, .managed = true, .askedUp = false, .seenUp = true};
  EXPECT_TRUE(isShutOut(std::vector{ending, closed, foreign}));
  EXPECT_FALSE(isShutOut(std::vector{foreign}));
  for (const WayBack& way : {foreignUp, starting, open}) {
    EXPECT_FALSE(isShutOut(std::vector{ending, way, closed}));
  }

  framework::Console console;
  Container::setConsole(&console);
  const Names managing = {"Http", "Ssh", "Ftp", "Debug"};
  build(managing, {{{"SshDisable", false}, {"DebugDisable", false}}});
  const auto warnings = [&](Interfaces off) {
    Manager::setUp(off, false);
    return controller.log.count("no way back for an operator");
  };
  EXPECT_EQ(warnings(Manager::Debug), 0);
  EXPECT_EQ(warnings(Manager::Ssh), 1);
  EXPECT_EQ(warnings(Manager::Ftp), 1) << "no way back anyhow";
  build(managing, {{{"SshDisable", true}, {"DebugDisable", true}}});
  EXPECT_EQ(warnings(Manager::Ftp), 2) << "the settings did it at the start";
}

bool isAsleep(int thread) {
  const auto stat = "/proc/self/task/" + std::to_string(thread) + "/stat";
  std::string line;
  return thread != 0 && std::getline(std::ifstream(stat), line) && line.find(") S ") != line.npos;
}

// The monitor thread mails a crash with the table lock held and reads the system information; a
// synchronisation takes the table lock with the system information held for reading. The daemon
// that is synchronised has no record: a claim might wait, and the simulated machine is for one
// thread's waits.
TEST(InterfaceLocks, NeitherRoadWaitsForAWriterBetween) {
  test::ManagedInterfaces controlled({"sshd"});
  controlled.build(Names{"Telnet", "Smis"}, {{{"TelnetDisable", false}, {"SmisDisable", true}}});
  std::atomic<bool> reading = false;
  std::atomic<int> writer = 0;
  std::vector<std::jthread> threads;
  controlled.controller.onInit("sshd", "start", [&] {  // the table lock is held
    if (!threads.empty()) return;
    threads.emplace_back([&] {
      const sysinfo::SysInfoReadGuard guard;
      reading = true;
      controlled.manager->syncInterface(Manager::Telnet);
    });
    EXPECT_TRUE(test::eventually([&] { return reading.load(); }));
    threads.emplace_back([&] {
      writer = ::gettid();
      const sysinfo::SysInfoWriteGuard guard;
    });
    EXPECT_TRUE(test::eventually([&] { return isAsleep(writer); }));
    const sysinfo::SysInfoReadGuard mail;
    EXPECT_FALSE(Manager::isUp(Manager::Smis)) << "asks while the other thread switches";
  });
  controlled.controller.runUntil(150);
  EXPECT_EQ(threads.size(), 2U);
}

}  // namespace
}  // namespace services::app
