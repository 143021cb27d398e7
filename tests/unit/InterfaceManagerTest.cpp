// The management interfaces, and the SNMP agent's file that they write: random histories beside a
// model; the locks.

#include "host/base/fw_Container.h"
#include "host/service/fw_ServiceFactory.h"
#include "support/ManagedInterfaces.h"
#include "sysinfo/manager/us_UserManager.h"

namespace services::app {
namespace {

using framework::Container;
using sysinfo::SysInfo;
using test::Names;
using test::snmpdConf;
using user::User;
using Manager = InterfaceManager;
using Texts = std::map<std::string, std::string>;

const struct Interface {
  std::string name;
  std::string key;
  bool whenSet;   // the state that the setting asks for when it is true
  Names daemons;  // in the order of switching
  bool now;       // also a synchronisation starts and stops
  bool wayBack;   // an operator can come in by it
} interfaces[] = {
    {"Http", "HttpDisable", false, {}, true, true},
    {"Https", "HttpsDisable", false, {}, true, true},
    {"Telnet", "TelnetDisable", false, {"telnetd"}, false, true},
    {"Ssh", "SshDisable", false, {"sshd"}, false, true},
    {"Smis", "SmisDisable", false, {"slpd", "sfcbd"}, false, false},
    {"Ftp", "FtpDisable", false, {"ftpd"}, true, false},
    {"Snmp", "SnmpDisable", false, {"snmpd"}, true, false},
    {"Debug", "DebugDisable", false, {}, true, true},
    {"Usmis", "UsmisEnable", true, {"slpd", "sfcbd"}, false, false},
    {"ActivityProgress", "ActivityProgressDisable", false, {"activityd"}, true, false},
};

struct Settings {
  Texts texts;
  std::map<std::string, bool> flags;
  bool areSmisOn() const { return flags.at("UsmisEnable") || !flags.at("SmisDisable"); }
};

struct Member {
  std::string name, roles, auth, privacy;
  bool deleted;
  bool has(const char* role) const { return roles.find(role) != roles.npos; }
  std::string lines() const {
    const bool target = has("SnmpTarget");
    if (deleted || !(target || has("SnmpUser"))) return "";
    if (name == "comm2" || name.size() > 28) return "";  // the agent takes it for another's
    const int level = auth == "none" ? 0 : privacy == "none" ? 1 : 2;
    const char* const levels[] = {"noAuthNoPriv", "authNoPriv", "authPriv"};
    const std::string a = auth == "MD5" ? "MD5" : "SHA", x = privacy == "DES" ? "DES" : "AES";
    if (target) {
      return "trapsess -v 3 -u " + name + " -l " + levels[level] +
             (level > 0 ? " -a " + a + " -A \"pass word\"" : "") +
             (level > 1 ? " -x " + x + " -X \"priv word\"" : "") + " 10.0.0.9:162\n";
    }
    return "rwuser " + name + (level > 0 ? "" : " noauth") + "\ncreateUser " + name + " " +
           (level > 0 ? a + " \"pass word\"" : "") + (level > 1 ? " " + x + " \"priv word\"" : "") +
           "\n";
  }
};

// What the service is to do, in names and texts.
struct Model {
  std::optional<Settings> settings;
  Names managing;
  std::set<std::string> asked, running;
  std::map<std::string, bool> suspended;
  bool isConsoleUp = true, agentRuns = false;
  std::vector<Member> users;
  std::string file;
  Names commands;
  int writes = 0, warnings = 0;

  bool manages(const std::string& name) const { return std::ranges::count(managing, name) > 0; }
  bool areUp(const Names& daemons) const {
    return std::ranges::all_of(daemons, [&](const auto& name) { return running.contains(name); });
  }
  bool isSmisAsked() const { return asked.contains("Smis") || asked.contains("Usmis"); }
  bool isUp(const Interface& i) const {
    if (!manages(i.name)) return false;
    if (i.daemons.empty()) return i.name == "Debug" && isConsoleUp;
    return areUp(i.daemons) && (i.daemons.size() == 1 || asked.contains(i.name));
  }
  void ask(const std::string& name, bool up) {
    up ? void(asked.insert(name)) : void(asked.erase(name));
  }
  void control(const Names& daemons, bool suspend, const std::string& command) {
    for (const auto& name : daemons) suspended[name] = suspend;
    for (const auto& name : daemons) {
      if (!command.empty()) commands.push_back(name + " " + command);
    }
  }
  bool switchTo(const Interface& i, bool up, bool now) {
    if (!manages(i.name)) return false;
    ask(i.name, up);
    if (i.name == "Debug") isConsoleUp = up;
    const bool isShared = !up && i.daemons.size() == 2 && isSmisAsked();
    if (!isShared) control(i.daemons, !up, !(now || i.now) ? "" : up ? "start" : "stop");
    if (now && !up && i.wayBack) warnIfShutOut();
    return i.name == "Debug" || !i.daemons.empty();
  }
  void warnIfShutOut() {
    bool any = false;
    for (const Interface& i : interfaces) {
      const bool managed = manages(i.name);
      any |= i.wayBack && managed;
      if (i.name == "Debug" ? isConsoleUp
                            : !i.daemons.empty() && i.wayBack &&
                                  (managed ? asked.contains(i.name) : areUp(i.daemons)))
        return;
    }
    warnings += any;
  }
  void write(const std::optional<Settings>& from, const Member* changed) {
    if (!from) return;
    std::string lines;
    for (const Member& member : users) {
      if (changed == nullptr || member.name != changed->name) lines += member.lines();
    }
    if (changed != nullptr) lines += changed->lines();
    const bool any = !lines.empty();
    const std::string end = any ? " default -V mgmtprivate\n" : "\n";
    for (const auto& [key, text] : from->texts) {
      if (key.starts_with("SnmpTrap")) lines += "trapsink " + text + "\n";
    }
    const std::string read = from->texts.at("SnmpReadCommunity");
    if (any)
      lines += "view mgmtprivate included .1.3.6.1.2.1.1\nview mgmtprivate included .1.3.6.1.4\n";
    file = lines + "rocommunity " + read + end + "rwcommunity " +
           from->texts.at("SnmpWriteCommunity") + end + "trapcommunity " + read + "\n" +
           (any ? "engineIDType 3\n" : "");
    ++writes;
    if (agentRuns) commands.emplace_back("kill -WINCH 77");
  }
  void build() {
    asked.clear();
    for (const auto& name : managing) {
      const Interface& i = *std::ranges::find(interfaces, name, &Interface::name);
      if (settings) switchTo(i, settings->flags.at(i.key) == i.whenSet, false);
    }
    warnIfShutOut();
    if (file.empty()) write(settings, nullptr);
  }
  void settingsChanged(const Settings& changed, bool snmp, bool smis) {
    if (snmp && manages("Snmp")) write(changed, nullptr);
    if (!smis || !(manages("Smis") || manages("Usmis"))) return;
    const bool on = changed.areSmisOn();
    control({"sfcbd", "slpd"}, !on, !on ? "stop" : isSmisAsked() ? "restart" : "start");
    ask("Smis", !changed.flags.at("SmisDisable"));
    ask("Usmis", changed.flags.at("UsmisEnable"));
  }
  void userChanged(const Member& changed, bool hasNewAccess) {
    write(settings, &changed);
    if (!hasNewAccess || !changed.has("Smis") || !settings || !settings->areSmisOn()) return;
    control({"sfcbd", "slpd"}, false, "restart");
  }
};

class History {
 public:
  explicit History(unsigned long seed) : m_random(seed) {
    Container::setConsole(&m_console);
    for (const auto& name : test::interfaceDaemons) {
      m_model.suspended[name] = m_all.isSuspended(name);  // where its program is missing
    }
  }
  ~History() {
    Container::setConsole(nullptr);
    user::UserManager::getManager()->load({});
  }

  void live() {
    build();
    for (int step = 0; step < 100 && !testing::Test::HasFailure(); ++step) {
      SCOPED_TRACE(step);
      const long kind = m_random.below(7);
      if (kind == 0) build();
      if (kind == 1 || kind == 2) switchOne();
      if (kind == 3) changeDaemon();
      if (kind == 4) changeSettings();
      if (kind > 4) changeUser();
      check();
    }
  }

 private:
  Settings someSettings() {
    Settings settings{{{"SnmpReadCommunity", m_random.of<std::string>({"public", "re#ad"})},
                       {"SnmpWriteCommunity", m_random.of<std::string>({"private", "w"})}},
                      {}};
    for (const Interface& i : interfaces) settings.flags[i.key] = m_random.once(2);
    for (const char* trap : {"SnmpTrap1V4Address", "SnmpTrap2V4Address", "SnmpTrap3V4Address"}) {
      if (m_random.once(3)) settings.texts[trap] = m_random.once(2) ? "192.168.0.1" : "10.0.0.255";
    }
    return settings;
  }
  void put(const std::optional<Settings>& settings) {
    m_all.sysInfo.reset();
    if (settings) m_all.sysInfo.emplace(settings->texts, settings->flags);
  }
  Member someMember(const std::string& name) {
    const Names roles = {"Smis", "SnmpUser", "SnmpTarget", "SnmpUser,Smis", "SnmpTarget,SnmpUser",
                         "Http"};
    return {name, m_random.of(roles), m_random.of<std::string>({"none", "MD5", "SHA"}),
            m_random.of<std::string>({"none", "DES", "AES"}), false};
  }
  static User userOf(const Member& member) {
    User user(member.name.c_str());
    utility::TokenSet roles(20);
    roles.SetFromStringList(member.roles.c_str());
    user.setInterfaces(roles);
    user.setAuthType(strings::GS.toToken(member.auth.c_str()));
    user.setPrivacyType(strings::GS.toToken(member.privacy.c_str()));
    user.setPassword("pass word");
    user.setPrivacyPassword("priv word");
    user.setTrapDestination("10.0.0.9:162");
    user.setDeleted(member.deleted);
    return user;
  }

  void build() {
    if (m_random.once(2))
      m_all.controller.writeFile(snmpdConf, m_model.file = m_random.once(2) ? "" : "own\n");
    m_model.settings.reset();
    if (!m_random.once(8)) m_model.settings = someSettings();
    m_model.managing.clear();
    for (const Interface& i : interfaces) {
      if (!m_random.once(4)) m_model.managing.push_back(i.name);
    }
    if (m_random.once(2)) std::ranges::reverse(m_model.managing);
    const bool isGiven = !m_random.once(8);
    if (!isGiven) m_model.managing.clear();
    m_unmanaged += !isGiven;
    m_model.build();
    m_all.manager.reset();
    put(m_model.settings);
    m_all.build(isGiven ? std::optional(m_model.managing) : std::nullopt);
  }
  void switchOne() {
    const Interface& i = interfaces[m_random.below(std::ssize(interfaces))];
    const bool up = m_random.once(2);
    EXPECT_EQ(Manager::setUp(tokenOf(i), up), m_model.switchTo(i, up, true)) << i.name << up;
  }
  void changeDaemon() {
    const auto daemon = m_random.of(test::interfaceDaemons);
    const Process::State state =
        m_random.of<Process::State>({Process::Unclassified, Process::Up, Process::Up,
                                     Process::Starting, Process::GoingDown, Process::Down});
    m_all.setState(daemon, state);
    m_model.running.erase(daemon);
    if (state == Process::Up || state == Process::Starting) m_model.running.insert(daemon);
    m_all.controller.removeProcess(77);
    m_all.controller.removeProcess(76);
    m_model.agentRuns = m_random.once(2);
    if (m_model.agentRuns) m_all.controller.addProcess(77, "/opt/bin/snmpd -f");
    if (!m_model.agentRuns) m_all.controller.addProcess(76, "/bin/not-snmpd");
  }
  void changeSettings() {
    const Settings settings = someSettings();
    put(settings);
    SysInfo record(*sysinfo::SysInfoReadGuard().getObject());
    put(m_model.settings);
    const bool snmp = m_random.once(2), smis = m_random.once(2);
    record.setSnmpChanged(snmp);
    record.setSmisChanged(smis);
    EXPECT_FALSE(m_all.manager->serviceEvent(strings::tGSsysInfoChanged, &record));
    m_model.settingsChanged(settings, snmp, smis);
    EXPECT_EQ(record.getSnmpChanged(), snmp && !m_model.manages("Snmp"));
    EXPECT_EQ(record.getSmisChanged(),
              smis && !m_model.manages("Smis") && !m_model.manages("Usmis"));
  }
  // Others are in force, too.
  void changeUser() {
    sysinfo::Rows rows;
    m_model.users.clear();
    for (const auto& name :
         {std::string("a"), std::string("b"), std::string("comm"), std::string("comm2"),
          std::string("comm2x"), std::string(28, 'n'), std::string(29, 'n')}) {
      if (m_random.once(2)) continue;
      m_model.users.push_back(someMember(name));
      const User user = userOf(m_model.users.back());
      for (const auto& field : user::userFields())
        rows[{"user " + name, field.key}] = *field.get(user);
    }
    user::UserManager::getManager()->load(rows);
    Member changed = someMember(m_random.once(3) ? "comm2" : "b");
    changed.deleted = m_random.once(4);
    if (m_random.once(4)) changed.auth = "DES", changed.privacy = "MD5";  // no algorithms of theirs
    const User user = userOf(changed);
    const auto event = m_random.of<strings::stringtoken>(
        {strings::tGSuserChanged, strings::tGSuserAccessChanged, strings::tGSuserAccessChanged,
         strings::token<"goingDown">});
    const bool isGiven = !m_random.once(8);
    EXPECT_FALSE(m_all.manager->serviceEvent(event, isGiven ? &user : nullptr));
    if (isGiven && event != strings::token<"goingDown">)
      m_model.userChanged(changed, event == strings::tGSuserAccessChanged);
  }

  void check() {
    EXPECT_EQ(m_all.newCommands(), std::exchange(m_model.commands, {}));
    for (const auto& daemon : test::interfaceDaemons) {
      EXPECT_EQ(m_all.isSuspended(daemon), m_model.suspended[daemon]) << daemon;
    }
    std::string report = "  ";
    for (const Interface& i : interfaces) {
      EXPECT_EQ(Manager::isUp(tokenOf(i)), m_model.isUp(i)) << i.name;
    }
    for (const auto& name : m_model.managing) {
      const Interface& i = *std::ranges::find(interfaces, name, &Interface::name);
      report += name + (m_model.isUp(i) ? ": ^^^^ " : ": vvvv ");
    }
    const auto print = [&](auto& stream) { m_all.manager->information(stream, 2, false); };
    EXPECT_EQ(test::printed(print), report + "\n");
    EXPECT_EQ(m_all.controller.readFile(snmpdConf), m_model.file);
    EXPECT_EQ(m_all.controller.machine.elapsed(), m_model.writes * 1200000);
    EXPECT_EQ(m_all.controller.log.count("no way back for an operator"), m_model.warnings);
    EXPECT_EQ(m_all.controller.log.count("need managing set property"), m_unmanaged);
  }
  static Manager::Interfaces tokenOf(const Interface& i) {
    return static_cast<Manager::Interfaces>(strings::GS.toToken(i.name.c_str()));
  }

  test::Random m_random;
  test::ManagedInterfaces m_all;
  framework::Console m_console;
  Model m_model;
  int m_unmanaged = 0;
};

TEST(Interfaces, DoAsTheirModelOverRandomHistories) {
  for (unsigned long seed = 1; seed <= 20 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    History(seed).live();
  }
}

TEST(Interfaces, TakeNoPathThatWouldBeCut) {
  test::ManagedInterfaces controlled;
  ::setenv("MC_CONFIG", std::string(120, 'x').c_str(), 1);
  try {
    controlled.build(Names{"Snmp"});
    ADD_FAILURE();
  } catch (framework::Exception* tooLong) {
    delete tooLong;
  }
  EXPECT_EQ(Manager::getSingleton(), nullptr);
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
  controlled.sysInfo.emplace(Texts(), std::map<std::string, bool>{{"SmisDisable", true}});
  controlled.build(Names{"Telnet", "Smis"});
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
