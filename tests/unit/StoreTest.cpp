// The durable store: damage, schemas, full disks; and what of the system information reaches it.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <future>
#include <optional>
#include <random>

#include "host/base/st_StringRepository.h"
#include "host/machine/SimulatedPlatform.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_EventManager.h"
#include "host/service/fw_Service.h"
#include "support/LogCapture.h"
#include "support/Temporary.h"
#include "sysinfo/manager/si_Change.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/manager/si_Values.h"
#include "sysinfo/manager/us_UserManager.h"
#include "sysinfo/record/ri_RelInfo.h"
#include "sysinfo/record/si_Scopes.h"

namespace services::sysinfo {
namespace {

// What is synchronised to a disk takes its time, and no test here sees whether it arrives.
const bool inMemory = ::access("/dev/shm", W_OK) == 0 && ::setenv("TMPDIR", "/dev/shm", 0) == 0;

const Rows first = {{{"system", "x"}, "1"}, {{"user u", "Password"}, "hidden"}};
const Rows second = {{{"system", "x"}, "2"}};

class StoreFile : public testing::Test {
 protected:
  Store open(const Rows& initial = first) const {
    return Store(path, initial, [](const Rows&) {});
  }

  // Changes the database behind the store's back.
  void execute(const std::string& statements) const {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, statements.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database);
    sqlite3_close(database);
  }

  const test::Temporary directory;
  const std::string path = directory.path("system.db");
  test::LogCapture log;
};

struct Damage {
  const char* name;
  void (*inflict)(const test::Temporary& directory, const std::string& content);
  bool withCopy;
  const char* value;  // of "x" afterwards
};

class DamagedFile : public StoreFile, public testing::WithParamInterface<Damage> {};

TEST_P(DamagedFile, IsSetAsideAndReplaced) {
  ASSERT_TRUE(open().replace({"system"}, second));
  if (!GetParam().withCopy) std::filesystem::remove(path + ".good");
  GetParam().inflict(directory, directory.read("system.db"));
  EXPECT_EQ((open().rows()[{"system", "x"}]), GetParam().value);
  EXPECT_TRUE(directory.has("system.db.damaged-1"));
  EXPECT_TRUE(log.has("cannot be used"));
  EXPECT_EQ(log.has("last good copy"), GetParam().withCopy);
  EXPECT_EQ((open().rows()[{"system", "x"}]), GetParam().value) << "and is sound again";
  EXPECT_FALSE(directory.has("system.db.damaged-2"));
}

void overwriteValue(const test::Temporary& directory, const std::string& content) {
  std::string changed = content;
  changed.replace(changed.find("hidden"), 6, "hidxen");  // the structure stays whole
  directory.write("system.db", changed);
}

constexpr Damage damages[] = {
    {"NoDatabase", [](auto& d, auto&) { d.write("system.db", std::string(5000, 'z')); }, true, "2"},
    {"Torn", [](auto& d, auto& c) { d.write("system.db", c.substr(0, c.size() / 2)); }, true, "2"},
    {"NoCopy", overwriteValue, false, "1"},
};
INSTANTIATE_TEST_SUITE_P(All, DamagedFile, testing::ValuesIn(damages),
                         [](const auto& row) { return row.param.name; });

// One byte of the file, or of the copy that is to take its place, is another one: whatever it says,
// the store opens with the values of the other, or with its first, and stores changes. With MC_DEEP
// in the environment every byte is visited, else the header's and a sample of those in use.
TEST_F(StoreFile, OpensAndStoresWhateverAByteSays) {
  ASSERT_TRUE(open().replace({"system"}, second));
  const std::string content = directory.read("system.db");
  const Rows whole = Database(path).rows();
  const auto change = [&](const char* file, std::size_t at, int mask) {
    SCOPED_TRACE(file + (" " + std::to_string(at)) + " ^ " + std::to_string(mask));
    for (const auto& old : std::filesystem::directory_iterator(directory.path(""))) {
      std::filesystem::remove(old);
    }
    directory.write("system.db.good", content);
    std::string changed = content;
    changed[at] = static_cast<char>(changed[at] ^ mask);
    directory.write(file, changed);
    Store store = open();
    const bool isGone =
        directory.has("system.db.good.damaged-1") || directory.has("system.db.good.newer-1");
    EXPECT_EQ(store.rows(), isGone ? first : whole);
    EXPECT_TRUE(store.replace({"system"}, {}));
    EXPECT_FALSE(Database(path).rows().contains({"system", "x"}));
  };
  const bool deep = std::getenv("MC_DEEP") != nullptr;
  std::size_t used = 0;
  for (std::size_t at = 0; at < content.size() && !HasFailure(); ++at) {
    const bool isUsed = content[at] != 0 && ++used > 0;
    for (const char* file : {"system.db", "system.db.good"}) {
      if (at < 100) change(file, at, 0x80);
      if (deep || (isUsed && (at < 100 || used % 23 == 0))) change(file, at, 3);
    }
  }
}

TEST_F(StoreFile, KeepsANewerSchemaAsideAndBringsAnOlderForward) {
  ASSERT_TRUE(open().replace({"system"}, second));
  execute("PRAGMA user_version = 99");
  EXPECT_EQ((open().rows()[{"system", "x"}]), "2");
  EXPECT_TRUE(directory.has("system.db.newer-1"));

  execute("DROP TABLE digest; PRAGMA user_version = 1; UPDATE value SET value = '3'");
  EXPECT_EQ((open().rows()[{"system", "x"}]), "3");
  EXPECT_EQ(Database(path).state(), Database::State::Good);
  EXPECT_FALSE(directory.has("system.db.damaged-1"));
}

TEST_F(StoreFile, ChangesNothingWhereTheDiskIsFull) {
  Store store = open();
  Rows large = second;
  large[{"system", "y"}] = std::string(100000, 'y');
  for (const rlim_t size : {0U, 100U, 1000U, 5000U}) {
    {
      const test::Limit full(RLIMIT_FSIZE, size);
      EXPECT_FALSE(store.replace({"system"}, large)) << size;
    }
    EXPECT_EQ(store.rows(), first) << size;
    EXPECT_EQ(Database(path).rows(), first) << size;
  }
  EXPECT_TRUE(log.has("a change was not stored"));
  EXPECT_TRUE(store.replace({"system"}, second)) << "as soon as there is room";
}

// What a file says that could not be opened at the start is not known: the store goes on with it
// when it turns out to say what is in force, and does not write it over when it says more.
TEST_F(StoreFile, OpensLaterWhatItCouldNotOpenAndWritesOverNothingUnknown) {
  ASSERT_TRUE(open().replace({"system"}, second));
  const std::string copy = directory.read("system.db.good");
  for (const bool isSame : {true, false}) {
    const std::string content = directory.read("system.db");
    directory.write("system.db.good", copy);
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);  // which cannot be opened as a file
    {
      Store store = open();
      EXPECT_EQ((store.rows()[{"system", "x"}]), "2") << "as in the good copy";
      EXPECT_FALSE(store.replace({"system"}, first));
      std::filesystem::remove(path);
      directory.write("system.db", content);
      EXPECT_EQ(store.replace({"system"}, {{{"system", "x"}, "3"}}), isSame);
    }
    EXPECT_EQ((open().rows()[{"system", "x"}]), "3");
    EXPECT_FALSE(directory.has("system.db.damaged-1"));
  }
  Store store = open();
  std::filesystem::remove(path);
  EXPECT_TRUE(store.replace({"system"}, second)) << "a file that went while it was open";
  EXPECT_EQ(Database(path).rows(), store.rows());
}

TEST_F(StoreFile, HasOneOwnerForWhoseEndTheNextOneWaits) {
  std::optional<Store> owner(std::in_place, path, first, [](const Rows&) {});
  Store other(path, second, [](const Rows&) {});
  EXPECT_TRUE(other.isElsewhere());
  EXPECT_FALSE(other.replace({"system"}, second));
  auto next = std::async([this] {
    Store store(
        path, second, [](const Rows&) {}, std::chrono::minutes(1));
    return store.isElsewhere() ? Rows() : store.rows();
  });
  EXPECT_TRUE(test::eventually([this] { return log.has("waiting for its end"); }));
  owner.reset();
  EXPECT_EQ(next.get(), first);
}

// Takes the events of the store.
class Listener : public framework::Service {
 public:
  Listener() : Service("Listener") {}
  const framework::ServiceInfo* serviceInfo() const override { return nullptr; }
  const strings::stringtoken* eventSubscription() const override { return events; }
  bool serviceEvent(strings::stringtoken event, const void* data) override {
    std::string text = strings::StringRepository::toString(event);
    if (event == strings::tGSsysInfoChanged) {
      // The handler owns the record for the time of the call, and clears its flag in it.
      auto& record = *static_cast<SysInfo*>(const_cast<void*>(data));
      if (record.getSnmpChanged()) text += " snmp";
      if (record.getSmisChanged()) text += " smis";
      if (clears) record.setSnmpChanged(false);
    } else {
      const auto* user = static_cast<const user::User*>(data);
      text += std::string(" ") + user->getNameString() + (user->getDeleted() ? " deleted" : "");
    }
    const std::lock_guard lock(mutex);
    seen.push_back(text);
    return false;
  }
  std::vector<std::string> take() {
    const std::lock_guard lock(mutex);
    return std::exchange(seen, {});
  }
  // The next `count` events.
  std::vector<std::string> next(std::size_t count) {
    std::vector<std::string> taken;
    EXPECT_TRUE(test::eventually([&] {
      for (auto& event : take()) taken.push_back(event);
      return taken.size() >= count;
    }));
    return taken;
  }

  std::atomic<bool> clears = true;
  static constexpr strings::stringtoken events[] = {
      strings::tGSsysInfoChanged, strings::tGSuserChanged, strings::tGSuserAccessChanged,
      strings::tGSendOfList};

 private:
  std::mutex mutex;
  std::vector<std::string> seen;
};

// A host's store under the simulated root, with a listener to its events.
class Information : public testing::Test {
 protected:
  Information() {
    std::filesystem::create_directories(machine.root() + "/cfg");
    config.set("sysinfo.A.MacAddress", {.value = std::string("02:4d:43:00:00:0a")});
    manager.open(config, 'A');
    framework::EventManager::instance().start(subscribers);
  }
  ~Information() override {
    framework::EventManager::instance().stop();
    manager.unload();
  }
  // As the next start would find it.
  void reopen(char node = 'A') {
    framework::EventManager::instance().stop();
    manager.unload();
    manager.open(config, node);
    framework::EventManager::instance().start(subscribers);
  }
  static std::string textOf(const char* key) { return findValue(key).value_or(Value{}).text; }

  platform::SimulatedPlatform machine;
  test::LogCapture log;
  framework::Config config;
  SysInfoManager& manager = *SysInfoManager::getManager();
  Listener listener;
  std::vector<framework::Service*> subscribers = {&listener};
};

using Events = std::vector<std::string>;

TEST_F(Information, TellsOfChangesAndLearnsOfClearedFlags) {
  EXPECT_EQ(changeValues({{"EmailSender", "mc"}}), "");
  EXPECT_EQ(listener.next(1), Events({"sysInfoChanged"}));
  EXPECT_EQ(changeValues({{"SnmpTrap2V4Address", "10.0.0.9"}, {"UsmisEnable", "true"}}), "");
  EXPECT_EQ(listener.next(1), Events({"sysInfoChanged snmp smis"}));
  EXPECT_TRUE(test::eventually([] { return textOf("SnmpChanged") == "false"; }));
  EXPECT_EQ(textOf("SmisChanged"), "true") << "nobody acted upon it";
  reopen();
  EXPECT_EQ(textOf("SmisChanged"), "true");
  EXPECT_EQ(changeValues({{"EmailSender", "mc"}}), "") << "no change";
  EXPECT_EQ(changeValues({{"PfuDisabled", "true"}}), "");
  EXPECT_EQ(listener.next(1), Events({"sysInfoChanged smis"})) << "and none for a cleared flag";
}

TEST_F(Information, KeepsAFlagThatWasSetAgainMeanwhile) {
  SysInfo older(*SysInfoReadGuard().getObject());
  older.setSnmpChanged(true);
  listener.clears = false;
  EXPECT_EQ(changeValues({{"SnmpReadCommunity", "newer"}}), "");
  EXPECT_EQ(listener.next(1), Events({"sysInfoChanged snmp"}));
  listener.clears = true;
  raiseChange(older, Untold::instance().begin());
  EXPECT_EQ(listener.next(1), Events({"sysInfoChanged snmp"}));
  EXPECT_EQ(changeValues({{"EmailSender", "x"}}), "");
  EXPECT_EQ(listener.next(1), Events({"sysInfoChanged snmp"})) << "not cleared for the newer one";
  EXPECT_TRUE(test::eventually([] { return textOf("SnmpChanged") == "false"; }));
}

TEST_F(Information, StoresUsersAndTellsTheTwoKindsOfTheirChanges) {
  auto& users = *user::UserManager::getManager();
  user::User bob("bob");
  utility::TokenSet roles(4);
  roles.SetFromStringList("SnmpUser");
  bob.setInterfaces(roles);
  EXPECT_EQ(users.addUser(bob), "");
  EXPECT_EQ(listener.next(1), Events({"userAccessChanged bob"}));
  EXPECT_NE(users.addUser(bob), "");
  const auto change = [&](void (*edit)(user::User&)) {
    return users.changeUser("bob", [&](user::User& user) { return edit(user), std::string(); });
  };
  EXPECT_EQ(change([](auto& user) { user.setAuthType(strings::tGSMD5); }),
            "AuthType needs a Password");
  EXPECT_EQ(change([](auto& user) { user.setPassword("long enough"); }), "");
  EXPECT_EQ(listener.next(1), Events({"userAccessChanged bob"}));
  EXPECT_EQ(change([](auto& user) { user.setAuthType(strings::tGSMD5); }), "");
  EXPECT_EQ(listener.next(1), Events({"userChanged bob"}));
  reopen();
  const auto look = [](const user::User& found) {
    EXPECT_STREQ(found.getPassword(), "long enough");
    EXPECT_EQ(found.getAuthType(), strings::tGSMD5);
    EXPECT_TRUE(found.getInterfaces().inSet(strings::tGSSnmpUser));
    return std::string("looked");
  };
  EXPECT_EQ(users.changeUser("bob", look), "looked");

  const auto* held = users.getUser(0, strings::tGSreadAccess);
  EXPECT_EQ(users.getUserExcept(0, held->getName(), strings::tGSreadAccess), nullptr);
  EXPECT_EQ(users.deleteUser("bob"), "");
  EXPECT_STREQ(held->getNameString(), "bob") << "held by a reader";
  users.releaseUser(held, strings::tGSreadAccess);
  EXPECT_EQ(listener.next(1), Events({"userAccessChanged bob deleted"}));
  manager.store()->replace({"user md5"}, {{{"user md5", "AuthType"}, "MD5"}});
  reopen();
  EXPECT_EQ(users.numUsers(strings::tGSreadAccess), 0) << "it has no password";
}

// Follows the changes as the interface service does: writes a file of the users and the community,
// which may fail, and has daemons read the users anew. Its handler can be held up.
class Agent : public framework::Service {
 public:
  Agent() : Service("Agent") {}
  const framework::ServiceInfo* serviceInfo() const override { return nullptr; }
  const strings::stringtoken* eventSubscription() const override { return Listener::events; }
  bool serviceEvent(strings::stringtoken event, const void* data) override {
    held.wait(true);
    if (event == strings::tGSsysInfoChanged) {
      auto& record = *static_cast<SysInfo*>(const_cast<void*>(data));
      if (record.getSnmpChanged()) write(record, nullptr);
      record.setSnmpChanged(false);
      return false;
    }
    const auto* changed = static_cast<const user::User*>(data);
    if (throws.exchange(false)) throw std::runtime_error("handler trouble");
    write(*SysInfoReadGuard().getObject(), changed);
    if (event == strings::tGSuserAccessChanged &&
        changed->getInterfaces().inSet(strings::token<"Smis">)) {
      reloadedAt = now.load();
    }
    return false;
  }
  // The content for these; `changed` in place of the user of its name.
  static std::string contentOf(const SysInfo& sysInfo, const user::User* changed) {
    std::map<std::string, std::string> users;
    auto& manager = *user::UserManager::getManager();
    for (int i = 0; const auto* user = manager.getUser(i, strings::tGSreadAccess); ++i) {
      users[user->getNameString()] = dynamic_cast<const user::User*>(user)->getPassword();
      manager.releaseUser(user, strings::tGSreadAccess);
    }
    if (changed != nullptr) users.erase(changed->getNameString());
    if (changed != nullptr && !changed->getDeleted()) {
      users[changed->getNameString()] = changed->getPassword();
    }
    std::string content = sysInfo.getSnmpReadCommunity();
    for (const auto& [name, password] : users) content.append(" " + name).append("=" + password);
    return content;
  }
  void release() {
    held = false;
    held.notify_all();
  }
  std::string file() const {
    const std::lock_guard lock(mutex);
    return content;
  }

  std::atomic<bool> held = false, fails = false, throws = false;
  std::atomic<int> now = 0, reloadedAt = 0;  // changes asked for

 private:
  void write(const SysInfo& sysInfo, const user::User* changed) {
    const bool written = !fails;
    if (written) {
      const std::lock_guard lock(mutex);
      content = contentOf(sysInfo, changed);
    }
    Untold::instance().setAgentFileWritten(written);
  }

  mutable std::mutex mutex;
  std::string content = "public";
};

// Whatever holds the handlers up, ends the process or fills the disk: as long as something that was
// acknowledged has not arrived, the store says so, and with later changes it arrives.
TEST_F(Information, WhatWasAcknowledgedArrives) {
  auto& users = *user::UserManager::getManager();
  std::mt19937 random(20261212);
  const auto chance = [&](unsigned int in) { return random() % in == 0; };
  Agent agent;
  subscribers.push_back(&agent);
  int step = 0, owed = 0;  // changes so far; the last that the daemons must learn of
  const auto setSender = [&] { return changeValues({{"EmailSender", std::to_string(++step)}}); };
  const auto change = [&] {
    agent.now = ++step;
    const std::string text = "password" + std::to_string(step);
    utility::TokenSet roles(1);
    if (chance(2)) roles.set(strings::token<"Smis">);
    user::User changed(chance(4) ? "a" : "b");
    changed.setInterfaces(roles);
    const int kind = static_cast<int>(random() % 8);
    std::string refusal;
    if (kind == 0) refusal = changeValues({{"SnmpReadCommunity", text}});
    if (kind == 1) refusal = setSender();
    if (kind == 2) refusal = users.deleteUser(changed.getNameString());
    if (kind == 3) refusal = users.addUser(changed);
    if (kind > 3) {
      refusal = users.changeUser(changed.getNameString(), [&](user::User& user) {
        if (kind < 6) user.setTrapDestination(text.c_str());
        if (kind > 5) user.setPassword(text.c_str());
        if (kind > 6) user.setInterfaces(roles);
        changed = user;
        return std::string();
      });
    }
    const bool told = refusal.empty() && (kind == 3 || kind > 5);
    if (told && changed.getInterfaces().inSet(strings::token<"Smis">)) owed = step;
  };
  const auto hasArrived = [&] {
    if (manager.store()->rows().contains(untoldPlace)) return false;
    EXPECT_EQ(agent.file(), Agent::contentOf(*SysInfoReadGuard().getObject(), nullptr));
    EXPECT_GE(agent.reloadedAt, owed);
    return true;
  };
  const auto restart = [&] {
    agent.release();
    reopen();
    tellUntold();
  };
  restart();
  for (int burst = 0; burst < 60 && !HasFailure(); ++burst) {
    SCOPED_TRACE(step);
    agent.held = !chance(3);
    agent.fails = chance(4);
    agent.throws = chance(8);
    for (auto changes = 1 + random() % 5; changes > 0; --changes) {
      std::optional<test::Limit> full;
      if (chance(8)) full.emplace(RLIMIT_FSIZE, 100);
      change();
      hasArrived();
    }
    agent.release();
    if (chance(6)) restart();
    agent.fails = agent.throws = false;
    EXPECT_TRUE(test::eventually([&] { return hasArrived() || !setSender().empty(); }));
  }
  agent.held = true;
  EXPECT_EQ(setSender(), "");
  EXPECT_EQ(changeValues({{"SnmpReadCommunity", "waits"}}), "");
  EXPECT_TRUE(test::eventually([] { return textOf("SnmpChanged") == "false"; })) << "by the other";
  EXPECT_EQ(setSender(), "");
  agent.release();
  EXPECT_TRUE(test::eventually(hasArrived));
  agent.fails = true;
  EXPECT_EQ(changeValues({{"SnmpReadCommunity", "last"}}), "");
  EXPECT_TRUE(test::eventually([] { return !Untold::instance().finding().empty(); }));
  EXPECT_TRUE(test::eventually([] { return textOf("SnmpChanged") == "false"; }));
  agent.fails = false;
  restart();
  EXPECT_TRUE(test::eventually(hasArrived));
  listener.take();
  restart();
  EXPECT_EQ(setSender(), "");
  EXPECT_EQ(listener.next(1).front(), "sysInfoChanged") << "nothing is told again";
  framework::EventManager::instance().stop();
}

TEST_F(Information, KeepsWhatAReaderSeededAndTextsThatOthersRead) {
  {
    const SysInfoReadGuard reader;
    MCInfo* mine = reader.getObject()->getMyMCInfo();
    mine->setLoadMidplaneSerial("MP1");
    const char* seen = mine->getLoadMidplaneSerial();
    mine->setLoadMidplaneSerial("MP2");
    EXPECT_STREQ(seen, "MP1");
  }
  EXPECT_EQ(listener.next(1), Events({"sysInfoChanged"}));
  reopen();
  EXPECT_EQ(textOf("A.LoadMidplaneSerial"), "MP2");
}

TEST_F(Information, UndoesAChangeThatCannotBeStored) {
  {
    const test::Limit full(RLIMIT_FSIZE, 100);
    EXPECT_NE(changeValues({{"HttpDisable", "true"}, {"B.McVersion", "7"}}), "");
  }
  EXPECT_EQ(textOf("HttpDisable"), "false");
  EXPECT_EQ(SysInfoReadGuard().getObject()->getMCBInfo(), nullptr);
  EXPECT_EQ(changeValues({{"B.McVersion", "7"}}), "");
  EXPECT_EQ(listener.next(1).size(), 1U);
}

TEST_F(Information, FollowsItsControllerIntoTheOtherSlot) {
  EXPECT_EQ(changeValues({{"B.ControllerSerial", "PARTNER"},
                          {"release.HasBurnToActive", "false"},
                          {"component.controller_b_0.CpldRevision", "C7"}}),
            "");
  EXPECT_FALSE(relinfo::RelInfo::hasBurnToActive());
  reopen('B');
  EXPECT_EQ(changeValues({{"EmailSender", "x"}}), "");
  reopen('B');
  EXPECT_EQ(textOf("A.ControllerSerial"), "PARTNER");
  EXPECT_EQ(textOf("B.ControllerSerial"), "");
  EXPECT_EQ(textOf("B.MacAddress"), "02:4d:43:00:00:0a");
  EXPECT_EQ(textOf("component.controller_b_0.CpldRevision"), "C7");
  EXPECT_FALSE(relinfo::RelInfo::hasBurnToActive());
}

TEST_F(Information, RendersNoSecret) {
  user::User user("eve");
  user.setPassword("s3cret-pass");
  EXPECT_EQ(user::UserManager::getManager()->addUser(user), "");
  EXPECT_EQ(changeValues({{"SnmpWriteCommunity", "s3cret<comm>"}, {"EmailSender", "visible"}}), "");
  std::stringstream xml;
  xml << std::ifstream(machine.root() + "/cfg/sysinfo/system.xml").rdbuf();
  EXPECT_NE(xml.str().find("visible"), std::string::npos);
  EXPECT_NE(xml.str().find("user eve"), std::string::npos);
  EXPECT_EQ(xml.str().find("s3cret"), std::string::npos);
  for (const auto& value : listValues()) EXPECT_EQ(value.text.find("s3cret"), std::string::npos);
}

// Whatever could break out of a command line, a header or the agent's file.
TEST_F(Information, RefusesHostileValues) {
  const std::vector<std::pair<const char*, std::vector<std::string>>> hostile = {
      {"SnmpReadCommunity",
       {"", "a b", "a\"b", "a'b", "a\\", "a\nb", "-s", "#x", "\xc3\xa4", std::string(65, 'c')}},
      {"SnmpWriteCommunity", {"a\tb", "x\nrwcommunity y"}},
      {"SnmpTrap1V4Address", {"host", "1.2.3", "1.2.3.4\nx", "256.1.1.1"}},
      {"EmailServer", {"a;reboot", "$(x)", "-S", "a b", std::string(64, 'h')}},
      {"EmailAddr4", {"a@b;c", "a b@c", "a@b\nBcc: d@e", "@b"}},
      {"EmailSender", {"a b", "a\nb", "-f"}},
      {"EmailDomain", {"a..b", "a/b", "`x`"}},
      {"MidplaneSN", {"a b", "-x", "a;b"}},
      {"A.LastLoadedTime", {"12x", "-1"}},
      {"A.McVersion", {"1 2", std::string(32, 'v')}},
      {"A.IpV4Address", {"10.0.0"}},
      {"A.MacAddress", {"024d43000001", "02:4d:43:00:00", "02:4d:43:00:00:0g"}},
      {"HttpDisable", {"yes", "TRUE", "1"}},
      {"SnmpChanged", {"true"}},
      {"component.a b.CpldRevision", {"1"}},
      {"store.Slot", {"B"}},
      {"user bob.Password", {"long enough"}},
      {"Nothing", {"1"}},
  };
  const auto before = manager.store()->rows();
  for (const auto& [key, values] : hostile) {
    for (const auto& value : values) {
      EXPECT_NE(changeValues({{"EmailSender", "innocent"}, {key, value}}), "") << key << value;
    }
  }
  const std::vector<std::pair<const char*, std::vector<std::string>>> hostileUsers = {
      {"Password", {"short", "with \" quote", "back\\slash", "line\nbreak"}},
      {"PrivacyPassword", {"tab\tbetween"}},
      {"TrapDestination", {"a b", "a;b", "host:0", "host:70000", "-x", "udp:a:1", "h\"x"}},
      {"Interfaces", {"Nonsense", "Snmp,,Ssh", "Snmp,"}},
      {"AuthType", {"MD4", ""}},
      {"PrivacyType", {"3DES"}},
  };
  for (const auto& [key, values] : hostileUsers) {
    for (const auto& value : values) {
      EXPECT_FALSE(findField(user::userFields(), key)->grammar->holds(value.c_str())) << value;
    }
  }
  for (const char* name :
       {"", "1st", "a b", "a\"b", "a\nb", "-a", "comm2", "thisnameistoolongfortheagent1"}) {
    EXPECT_NE(user::UserManager::getManager()->addUser(user::User(name)), "") << name;
  }
  EXPECT_EQ(manager.store()->rows(), before);
}

}  // namespace
}  // namespace services::sysinfo
