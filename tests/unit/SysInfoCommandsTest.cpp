// The operator's commands over the system information, the users and the interfaces.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/app_InterfaceManager.h"
#include "host/framework/fw_ConsoleHold.h"
#include "host/framework/fw_Container.h"
#include "host/sysinfo/us_UserManager.h"
#include "support/PluginCommands.h"
#include "support/SimulatedController.h"
#include "support/SysInfoSetting.h"

namespace services::ops {
namespace {

using Words = std::vector<std::string>;

// Commands and what is stored: a community and a user whose secrets nothing may show.
class StoredValues : public testing::Test {
 protected:
  StoredValues() {
    user::UserManager::getManager()->load({});
    EXPECT_EQ(m_values.ask("sysinfo set SnmpReadCommunity hush-read"), "0 SnmpReadCommunity set\n");
    EXPECT_EQ(m_users.ask("user add eve Interfaces=Ssh,SnmpUser AuthType=SHA Password=hush-auth"),
              "0 user eve added\n");
  }
  ~StoredValues() override { EXPECT_FALSE(m_log.has("hush")); }

  std::string shown() const { return m_values.ask("sysinfo show") + m_users.ask("user list"); }

  // Each is refused with the rule of its key, tells no value of a secret and changes nothing.
  void expectRefused(const test::PluginCommands& commands, const Words& words,
                     const std::string& reply) const {
    const std::string before = shown();
    EXPECT_TRUE(commands.ask(words).starts_with(reply)) << commands.ask(words);
    EXPECT_EQ(commands.ask(words).find("hush"), std::string::npos) << words.back();
    EXPECT_EQ(shown(), before) << words.back();
  }

  const test::LogCapture m_log;
  const test::SysInfoSetting m_sysInfo{{{"A.ControllerSerial", "S1"}, {"EmailServer", "relay"}},
                                       {{"ManagedLogsEnable", true}}};
  const test::PluginCommands m_values{"SysInfoCommands"};
  const test::PluginCommands m_users{"UserCommands"};
};

TEST_F(StoredValues, AreShownAndChangedByTheirKeysButSecretsAreNotShown) {
  const struct {
    const char* line;
    const char* reply;
  } rows[] = {
      {"sysinfo get EmailServer", "0 relay\n"},
      {"sysinfo get A.ControllerSerial", "0 S1\n"},
      {"sysinfo set EmailServer mail.site SnmpTrap1V4Address 10.0.0.9",
       "0 EmailServer set\nSnmpTrap1V4Address set\n"},
      {"sysinfo get EmailServer", "0 mail.site\n"},
      {"sysinfo get SnmpTrap1V4Address", "0 10.0.0.9\n"},
      {"sysinfo set EmailServer \"\"", "0 EmailServer set\n"},
      {"sysinfo get EmailServer", "0 \n"},
      {"sysinfo get SnmpReadCommunity", "13 SnmpReadCommunity is a secret and not shown\n"},
      {"sysinfo get emailServer", "13 no such key: emailServer; see: sysinfo show\n"},
      {"sysinfo get", "1 usage: sysinfo get KEY\n"},
      {"sysinfo show all", "1 usage: sysinfo show\n"},
      {"sysinfo set EmailServer", "1 usage: sysinfo set KEY VALUE [KEY VALUE]...\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(m_values.ask(row.line), row.reply) << row.line;
  const std::string all = m_values.ask("sysinfo show");
  for (const char* line :
       {"SnmpReadCommunity          (secret)\n", "ManagedLogsEnable          true\n",
        "EmailServer                -\n", "A.ControllerSerial         S1\n"}) {
    EXPECT_NE(all.find(line), std::string::npos) << line << all;
  }
  EXPECT_EQ(all.find("hush"), std::string::npos);
}

TEST_F(StoredValues, TakeNothingThatBreaksOutOfWhereItStands) {
  const struct {
    const char* value;
    const char* key;
  } rows[] = {
      {"hush me", "SnmpReadCommunity"},
      {"hush\"", "SnmpReadCommunity"},
      {"hush\nrwuser x", "SnmpReadCommunity"},
      {"-hush", "SnmpWriteCommunity"},
      {"", "SnmpWriteCommunity"},
      {"10.0.0", "SnmpTrap1V4Address"},
      {"10.0.0.1 x", "SnmpTrap2V4Address"},
      {"256.0.0.1", "SnmpTrap3V4Address"},
      {"a@b;reboot", "EmailAddr4"},
      {"$(reboot)", "EmailSender"},
      {"a b", "EmailDomain"},
      {"relay;reboot", "EmailServer"},
      {"yes", "HttpDisable"},
      {"TRUE", "UsmisEnable"},
      {"a'b", "A.ControllerSerial"},
      {"1 2", "A.LastLoadedTime"},
      {"`x`", "B.BundleVersion"},
      {"x", "EmailServer2"},
      {"true", "SnmpChanged"},
  };
  for (const auto& row : rows) {
    expectRefused(m_values, {"sysinfo", "set", row.key, row.value}, std::string("13 ") + row.key);
    expectRefused(m_values, {"sysinfo", "set", "PfuDisabled", "true", row.key, row.value},
                  std::string("13 ") + row.key);
  }
}

TEST_F(StoredValues, OfUsersAreAddedChangedAndDeletedAndTheirPasswordsAreNotShown) {
  const std::string heading =
      "0 Name  Interfaces    AuthType  PrivacyType  Password  PrivacyPassword  TrapDestination\n";
  const std::string eve =
      "eve   Ssh,SnmpUser  SHA       none         (set)     -                -\n";
  EXPECT_EQ(m_users.ask("user list"), heading + eve);
  EXPECT_EQ(m_users.ask("user add bob"), "0 user bob added\n");
  EXPECT_EQ(
      m_users.ask("user set bob Interfaces=SnmpTarget TrapDestination=10.0.0.7:162 "
                  "AuthType=MD5 \"Password=hush = 1\" PrivacyType=AES PrivacyPassword=hush-priv"),
      "0 user bob changed\n");
  const auto passwordOf = [](const user::User& user) { return std::string(user.getPassword()); };
  EXPECT_EQ(user::UserManager::getManager()->changeUser("bob", passwordOf), "hush = 1");
  EXPECT_EQ(m_users.ask("user list"),
            heading +
                "bob   SnmpTarget    MD5       AES          (set)     (set)            "
                "10.0.0.7:162\n" +
                eve);
  EXPECT_EQ(m_users.ask("user set bob PrivacyType= PrivacyPassword="), "0 user bob changed\n");
  EXPECT_EQ(m_users.ask("user delete eve"), "0 user eve deleted\n");
  EXPECT_EQ(m_users.ask("user list"),
            heading.substr(0, 2) +
                "Name  Interfaces  AuthType  PrivacyType  Password  PrivacyPassword  "
                "TrapDestination\n"
                "bob   SnmpTarget  MD5       none         (set)     -                "
                "10.0.0.7:162\n");
}

// An older release may have stored one.
TEST_F(StoredValues, OfUsersWithANameOfTheAgentsOwnStayAndCanBeDeleted) {
  user::UserManager::getManager()->load({{{"user comm2", "Interfaces"}, "SnmpUser"}});
  EXPECT_THAT(m_users.ask("user list"),
              testing::EndsWith("\ncomm2 is left out of the SNMP agent's file: \"comm\" and digits "
                                "are the agent's own names\n"));
  EXPECT_EQ(m_users.ask("user set comm2 Interfaces="), "0 user comm2 changed\n");
  EXPECT_EQ(m_users.ask("user delete comm2"), "0 user comm2 deleted\n");
  EXPECT_THAT(m_users.ask("user add comm2"), testing::StartsWith("13 a user's name is"));
}

TEST_F(StoredValues, OfUsersTakeNothingThatBreaksOutOrContradicts) {
  const struct {
    Words words;
    const char* reply;
  } rows[] = {
      {{"add"}, "1 usage: user add"},
      {{"add", "a b"}, "13 a user's name is"},
      {{"add", "eve"}, "13 there is a user of this name already"},
      {{"add", "bob", "hush-word"}, "1 usage: user add"},
      {{"add", "bob", "Secret=hush-word"}, "13 no such attribute: Secret; it is one of Interfaces"},
      {{"add", "bob", "AuthType=SHA"}, "13 AuthType needs a Password"},
      {{"set", "eve"}, "1 usage: user set"},
      {{"set", "bob", "Password=hush-word"}, "13 there is no user of this name"},
      {{"set", "eve", "Password=hush"}, "13 Password must be"},
      {{"set", "eve", "PrivacyPassword=hush\\hush"}, "13 PrivacyPassword must be"},
      {{"set", "eve", "Password="}, "13 AuthType needs a Password"},
      {{"set", "eve", "AuthType=none", "AuthType=sha"}, "13 AuthType must be"},
      {{"set", "eve", "Interfaces=Ssh,Root"}, "13 Interfaces must be"},
      {{"set", "eve", "Interfaces=Ssh,SnmpTarget"}, "13 the role SnmpTarget needs"},
      {{"set", "eve", "TrapDestination=10.0.0.7 -x"}, "13 TrapDestination must be"},
      {{"delete"}, "1 usage: user delete"},
      {{"delete", "bob"}, "13 there is no user of this name"},
  };
  for (const auto& row : rows) {
    Words words = row.words;
    words.insert(words.begin(), "user");
    expectRefused(m_users, words, row.reply);
  }
}

constexpr struct {
  const char* line;
  const char* reply;
} switchRows[] = {
    {"interface up Ssh", "0 Ssh switched on\n"},
    {"interface down Debug", "0 Debug switched off\n"},
    {"interface up Debug", "0 Debug switched on\n"},
    {"interface list",
     "0 NAME              MANAGED  STATE  NEXT START\n"
     "Http              yes      down   up\n"
     "Https             no       -      -\n"
     "Telnet            yes      down   up\n"
     "Ssh               yes      down   down\n"
     "Smis              no       -      -\n"
     "Ftp               no       -      -\n"
     "Snmp              no       -      -\n"
     "Debug             yes      up     up\n"
     "Usmis             no       -      -\n"
     "ActivityProgress  no       -      -\n"},
    {"interface up Http",
     "13 switching Http on was refused: it cannot listen, the log says why, or there is no web "
     "server\n"},
    {"interface up Telnet",
     "13 switching Telnet on was refused: its daemon is not supervised, or process control is "
     "off here (see MC_ARCH)\n"},
    {"interface down Snmp", "13 Snmp is not managed in this host's configuration\n"},
    {"interface up ssh",
     "13 no such interface: ssh; it is one of Http, Https, Telnet, Ssh, Smis, Ftp, Snmp, Debug, "
     "Usmis, ActivityProgress\n"},
    {"interface up", "1 usage: interface up NAME\n"},
    {"interface down Ssh Http", "1 usage: interface down NAME\n"},
};

TEST(InterfaceCommands, SwitchWhatIsManagedAndTellWhatIsNot) {
  const test::SysInfoSetting sysInfo({}, {{"TelnetDisable", false}, {"SshDisable", true}});
  const test::PluginCommands commands("InterfaceCommands");
  EXPECT_EQ(commands.ask("interface list"), "13 no interface service runs in this host\n");
  EXPECT_EQ(commands.ask("interface up Ssh"), "13 no interface service runs in this host\n");

  test::SimulatedController controller({"sshd"}, 10);
  auto& another = controller.build();
  framework::Config config;
  utility::StringArray managed;
  for (const char* name : {"Http", "Telnet", "Ssh", "Debug"}) managed.Append(name);
  config.set("InterfaceManager.managing", {.value = managed});
  framework::Config::setConfig(config);
  framework::Console console;
  framework::Container::setConsole(&console);
  const app::InterfaceManager manager("InterfaceManager");
  for (const auto& row : switchRows) EXPECT_EQ(commands.ask(row.line), row.reply) << row.line;
  EXPECT_EQ(controller.timesOf("/app/etc/init.d/sshdS start").size(), 1U);

  console.setCurrentService(&another);
  EXPECT_EQ(commands.ask("interface down Debug"), "0 Debug switched off\n") << "it does not hold";
  console.enable();

  const framework::Console client;
  framework::ConsoleHold::instance().take(client);
  EXPECT_EQ(commands.ask("interface down Debug"),
            "13 Debug stays as it is: a client holds the console\n");
  framework::ConsoleHold::instance().releaseAll(client);
  EXPECT_TRUE(console.isEnabled());
  EXPECT_EQ(commands.ask("interface down Debug"), "0 Debug switched off\n");
  framework::Container::setConsole(nullptr);
}

}  // namespace
}  // namespace services::ops
