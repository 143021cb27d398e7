// The durable store: damage, schemas, full disks; what of the system information reaches it; and
// the text file of a small controller.
#include <sqlite3.h>

#include "host/machine/SimulatedPlatform.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_EventManager.h"
#include "host/service/fw_Service.h"
#include "support/Test.h"
#include "sysinfo/manager/si_Change.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/manager/si_Values.h"
#include "sysinfo/manager/us_UserManager.h"
#include "sysinfo/record/ri_RelInfo.h"
#include "sysinfo/record/si_Scopes.h"
#include "sysinfo/store/si_TextFile.h"

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

  const test::Temporary directory;
  const std::string path = directory.path("system.db");
  test::LogCapture log;
};

// Whatever a file says, or the copy that is to take its place: the store opens with the values of
// the other, or with its first, and stores changes. A file may be torn, be none, or have another
// byte: with MC_DEEP in the environment each, else those of the header and a sample of those in
// use.
TEST_F(StoreFile, OpensAndStoresWhateverItsFilesSay) {
  ASSERT_TRUE(open().replace({"system"}, second));
  const std::string content = directory.read("system.db");
  const Rows whole = Database(path).rows();
  const auto put = [&](const std::string& file, const std::string& changed) {
    for (const auto& old : std::filesystem::directory_iterator(directory.path(""))) {
      std::filesystem::remove(old);
    }
    directory.write("system.db.good", content);
    directory.write(file, changed);
    Store store = open();
    const bool isGone =
        directory.has("system.db.good.damaged-1") || directory.has("system.db.good.newer-1");
    EXPECT_EQ(store.rows(), isGone ? first : whole) << file;
    EXPECT_TRUE(store.replace({"system"}, {}));
    EXPECT_FALSE(Database(path).rows().contains({"system", "x"}));
  };
  const bool deep = std::getenv("MC_DEEP") != nullptr;
  std::size_t used = 0;
  for (const std::string file : {"system.db", "system.db.good"}) {
    for (const auto& bad : {std::string(5000, 'z'), content.substr(0, content.size() / 2)}) {
      put(file, bad);
      EXPECT_EQ(directory.read(file + ".damaged-1"), bad);
    }
    for (std::size_t at = 0; at < content.size() && !HasFailure(); ++at) {
      SCOPED_TRACE(at);
      std::string changed = content;
      changed[at] = static_cast<char>(changed[at] ^ 0x80);
      if (at < 100) put(file, changed);
      changed[at] = static_cast<char>(content[at] ^ 3);
      const bool isUsed = content[at] != 0 && ++used > 0;
      if (deep || (isUsed && (at < 100 || used % 23 == 0))) put(file, changed);
    }
  }
}

TEST_F(StoreFile, KeepsANewerSchemaAsideAndBringsAnOlderForward) {
  const auto execute = [this](const char* statements) {  // behind the store's back
    sqlite3* database = nullptr;
    sqlite3_open(path.c_str(), &database);
    EXPECT_EQ(sqlite3_exec(database, statements, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
  };
  ASSERT_TRUE(open().replace({"system"}, second));
  execute("PRAGMA user_version = 99");
  EXPECT_EQ((open().rows()[{"system", "x"}]), "2");
  EXPECT_TRUE(directory.has("system.db.newer-1"));
  execute("DROP TABLE digest; PRAGMA user_version = 1; UPDATE value SET value = '3'");
  EXPECT_EQ((open().rows()[{"system", "x"}]), "3");
  EXPECT_EQ(Database(path).state(), Database::State::Good);
}

// Beside a map: scopes are given new rows, the disk is full, another process opens the store, and a
// file is lost or spoilt while it is closed.
TEST_F(StoreFile, DoesAsAMapOverRandomHistories) {
  test::Random random(1);
  const auto noRender = [](const Rows&) {};
  std::array<std::optional<Store>, 2> stores;
  auto *store = &stores[0], *next = &stores[1];
  Rows expected = {{{"A", "x"}, "1"}};  // no store is ever empty
  store->emplace(path, expected, noRender);
  for (int step = 0; step < 300 && !HasFailure(); ++step) {
    SCOPED_TRACE(step);
    std::vector<std::string> scopes;
    Rows given, wanted = expected;
    for (const std::string scope : {"system", "user u", "user v"}) {
      if (random.once(2)) continue;
      scopes.push_back(scope);
      std::erase_if(wanted, [&](const auto& row) { return row.first.scope == scope; });
      const auto size = static_cast<std::size_t>(random.once(9) ? 100000 : random.below(9));
      if (random.once(2)) given[{scope, random.once(2) ? "x" : "y"}] = std::string(size, 'a');
    }
    wanted.insert(given.begin(), given.end());
    std::optional<test::Limit> full;
    if (random.once(5)) full.emplace(RLIMIT_FSIZE, rlim_t(random.below(20000)));
    const bool mayFail = full.has_value(), stored = (*store)->replace(scopes, given);
    full.reset();
    EXPECT_TRUE(stored || mayFail);
    if (stored) expected = wanted;
    EXPECT_EQ((*store)->rows(), expected);
    EXPECT_EQ(Database(path).rows(), expected);
    if (mayFail || !random.once(5)) continue;  // the copy may be an older one
    EXPECT_TRUE(open(second).isElsewhere() && !open(second).replace({"system"}, second));
    const auto ends = [&, loss = random.below(4)] {
      store->reset();
      if (loss == 1) std::filesystem::remove(path);
      if (loss > 1) directory.write(loss == 2 ? "system.db" : "system.db.good", "spoilt");
      return true;
    };
    next->emplace(path, second, noRender, ends);
    std::swap(store, next);
    EXPECT_EQ((*store)->rows(), expected);
  }
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
}

// Follows the changes as the interface service does: writes a file of the users and the community,
// which may fail, and has daemons read the users anew. Its handler can be held up, and keeps what
// it was told.
class Listener : public framework::Service {
 public:
  explicit Listener(bool writes = true) : Service("Listener"), isAgent(writes) {}
  const framework::ServiceInfo* serviceInfo() const override { return nullptr; }
  const strings::stringtoken* eventSubscription() const override { return events; }
  bool serviceEvent(strings::stringtoken event, const void* data) override {
    held.wait(true);
    std::string text = strings::StringRepository::toString(event);
    if (event == strings::tGSsysInfoChanged) {
      // The handler owns the record for the time of the call, and clears its flag in it.
      auto& record = *static_cast<SysInfo*>(const_cast<void*>(data));
      if (record.getSnmpChanged()) text += " snmp", write(record, nullptr);
      if (record.getSmisChanged()) text += " smis";
      if (clears) record.setSnmpChanged(false);
    } else {
      const auto* user = static_cast<const user::User*>(data);
      if (throws.exchange(false)) throw std::runtime_error("handler trouble");
      text += std::string(" ") + user->getNameString() + (user->getDeleted() ? " deleted" : "");
      write(*SysInfoReadGuard().getObject(), user);
      if (event == strings::tGSuserAccessChanged &&
          user->getInterfaces().inSet(strings::token<"Smis">)) {
        reloadedAt = now.load();
      }
      const std::lock_guard lock(mutex);
      toldAt[user->getNameString()] = now;
    }
    const std::lock_guard lock(mutex);
    seen.push_back(text);
    return false;
  }
  // The next event.
  std::string next() {
    std::string event;
    EXPECT_TRUE(test::eventually([&] {
      const std::lock_guard lock(mutex);
      if (event.empty() && !seen.empty()) event = seen.front(), seen.erase(seen.begin());
      return !event.empty();
    }));
    return event;
  }
  int lastTold(const std::string& name) {
    const std::lock_guard lock(mutex);
    return std::max(toldAt[name], toldAt[""]);
  }
  void forget() {
    const std::lock_guard lock(mutex);
    seen.clear();
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

  std::atomic<bool> held = false, fails = false, throws = false, clears = true;
  std::atomic<int> now = 0, reloadedAt = 0;  // changes asked for

 private:
  static constexpr strings::stringtoken events[] = {
      strings::tGSsysInfoChanged, strings::tGSuserChanged, strings::tGSuserAccessChanged,
      strings::tGSendOfList};

  void write(const SysInfo& sysInfo, const user::User* changed) {
    if (!isAgent) return;
    const bool written = !fails;
    if (written) {
      const std::lock_guard lock(mutex);
      content = contentOf(sysInfo, changed);
    }
    Untold::instance().setAgentFileWritten(written);
  }

  const bool isAgent;
  mutable std::mutex mutex;
  std::vector<std::string> seen;
  std::map<std::string, int> toldAt;  // users by name; where one was lost, that of none is told
  std::string content = "public";
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

TEST_F(Information, KeepsAFlagUntilItWasClearedForThatChange) {
  EXPECT_EQ(changeValues({{"SnmpTrap2V4Address", "10.0.0.9"}, {"UsmisEnable", "true"}}), "");
  EXPECT_EQ(listener.next(), "sysInfoChanged snmp smis");
  EXPECT_TRUE(test::eventually([] { return textOf("SnmpChanged") == "false"; }));
  reopen();
  SysInfo older(*SysInfoReadGuard().getObject());
  older.setSnmpChanged(true);
  listener.clears = false;
  EXPECT_EQ(changeValues({{"SnmpReadCommunity", "newer"}}), "");
  EXPECT_EQ(listener.next(), "sysInfoChanged snmp smis") << "nobody acted upon the latter";
  listener.clears = true;
  raiseChange(older, Untold::instance().begin(), SysInfoManager::clearFlag);
  EXPECT_EQ(listener.next(), "sysInfoChanged snmp smis");
  for (int i = 0; i < 2; ++i) EXPECT_EQ(changeValues({{"EmailSender", "x"}}), "");
  EXPECT_EQ(listener.next(), "sysInfoChanged snmp smis") << "not cleared for the newer one";
  EXPECT_TRUE(test::eventually([] { return textOf("SnmpChanged") == "false"; }));
  EXPECT_EQ(changeValues({{"PfuDisabled", "true"}}), "");
  EXPECT_EQ(listener.next(), "sysInfoChanged smis") << "and none for what was no change";
}

TEST_F(Information, StoresUsersAndTellsTheTwoKindsOfTheirChanges) {
  auto& users = *user::UserManager::getManager();
  EXPECT_EQ(users.addUser(user::User("bob")), "");
  EXPECT_EQ(listener.next(), "userAccessChanged bob");
  for (const auto& [key, value, event] :
       {std::array{"Interfaces", "SnmpUser", "userAccessChanged bob"},
        {"Interfaces", "SnmpUser", "userChanged bob"},
        {"AuthType", "MD5", ""},
        {"Password", "long enough", "userAccessChanged bob"},
        {"AuthType", "MD5", "userChanged bob"}}) {
    const std::string refusal = users.changeUser("bob", [&](user::User& user) {
      findField(user::userFields(), key)->set(user, value);
      return std::string();
    });
    EXPECT_EQ(refusal, *event == '\0' ? "AuthType needs a Password" : "");
    if (refusal.empty()) {
      EXPECT_EQ(listener.next(), event);
    }
  }
  listener.held = true;
  for (const char* target : {"10.0.0.1:162", "10.0.0.2:162", "10.0.0.3:162"}) {
    users.changeUser("bob", [&](user::User& user) {
      user.setTrapDestination(target);
      return std::string();
    });
  }
  const auto* held = users.getUser(0, strings::tGSreadAccess);
  EXPECT_EQ(users.deleteUser("bob"), "");
  listener.release();
  EXPECT_STREQ(held->getNameString(), "bob") << "held by a reader";
  users.releaseUser(held, strings::tGSreadAccess);
  const std::string told = listener.next();  // the first may have been taken before the second came
  EXPECT_EQ(told == "userChanged bob" ? listener.next() : told, "userAccessChanged bob deleted");
  manager.store()->replace({"user md5"}, {{{"user md5", "AuthType"}, "MD5"}});
  reopen();
  EXPECT_EQ(users.numUsers(strings::tGSreadAccess), 0) << "it has no password";
}

// Whatever holds the handlers up, ends the process or fills the disk: as long as something that was
// acknowledged has not arrived, the store says so, and with later changes it arrives.
class Acknowledged : public Information {
 protected:
  Acknowledged() {
    subscribers.push_back(&other);
    restart();
  }
  ~Acknowledged() override { framework::EventManager::instance().stop(); }
  bool chance(long in) { return random.once(in); }
  std::string setSender() { return changeValues({{"EmailSender", std::to_string(++step)}}); }
  void restart() {
    listener.release();
    reopen();
    SysInfoManager::getManager()->tellUntold();
  }
  // A change of the users or the settings, which may be refused.
  void change() {
    listener.now = ++step;
    const std::string text = "password" + std::to_string(step);
    utility::TokenSet roles(1);
    if (chance(2)) roles.set(strings::token<"Smis">);
    user::User changed(chance(4) ? "a" : "b");
    changed.setInterfaces(roles);
    const long kind = random.below(10);
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
    if (refusal.empty() && kind > 1) changedAt[changed.getNameString()] = step;
    const bool told = refusal.empty() && (kind == 3 || kind > 5);
    if (told && changed.getInterfaces().inSet(strings::token<"Smis">)) owed = step;
  }
  bool hasArrived() {
    if (manager.store()->rows().contains(untoldKey)) return false;
    EXPECT_EQ(listener.file(), Listener::contentOf(*SysInfoReadGuard().getObject(), nullptr));
    EXPECT_GE(listener.reloadedAt, owed);
    for (const auto& [name, at] : changedAt) {
      EXPECT_GE(listener.lastTold(name), at) << name;
    }
    return true;
  }
  bool arrives() {
    return test::eventually([this] { return hasArrived(); });
  }

  user::UserManager& users = *user::UserManager::getManager();
  Listener other{false};
  test::Random random{20261212};
  int step = 0, owed = 0;  // changes so far; the last that the daemons must learn of
  std::map<std::string, int> changedAt;
};

TEST_F(Acknowledged, ArrivesInRandomHistories) {
  for (int burst = 0; burst < 60 && !HasFailure(); ++burst) {
    SCOPED_TRACE(step);
    listener.held = !chance(3);
    listener.fails = chance(4);
    listener.throws = chance(8);
    for (long changes = 1 + random.below(5); changes > 0; --changes) {
      std::optional<test::Limit> full;
      if (chance(8)) full.emplace(RLIMIT_FSIZE, 100);
      change();
      hasArrived();
    }
    listener.release();
    if (chance(6)) restart();
    listener.fails = listener.throws = false;
    EXPECT_TRUE(test::eventually([&] { return hasArrived() || !setSender().empty(); }));
  }
}

TEST_F(Acknowledged, ArrivesThoughItsFlagWasClearedByAnotherAndIsToldOnce) {
  const auto isCleared = [] { return textOf("SnmpChanged") == "false"; };
  listener.held = true;
  EXPECT_EQ(setSender(), "");
  EXPECT_EQ(changeValues({{"SnmpReadCommunity", "waits"}}), "");
  EXPECT_TRUE(test::eventually(isCleared)) << "by the other";
  EXPECT_EQ(setSender(), "");
  listener.release();
  EXPECT_TRUE(arrives());
  listener.fails = true;
  EXPECT_EQ(changeValues({{"SnmpReadCommunity", "last"}}), "");
  EXPECT_TRUE(test::eventually([] { return !Untold::instance().finding().empty(); }));
  EXPECT_TRUE(test::eventually(isCleared));
  listener.fails = false;
  restart();
  EXPECT_TRUE(arrives());
  listener.forget();
  restart();
  EXPECT_EQ(setSender(), "");
  EXPECT_EQ(listener.next(), "sysInfoChanged") << "nothing is told again";
}

TEST_F(Information, StoresWhatAReaderSeededAndUndoesWhatCannotBeStored) {
  {
    const SysInfoReadGuard reader;
    MCInfo* mine = reader.getObject()->getMyMCInfo();
    mine->setLoadMidplaneSerial("MP1");
    const char* seen = mine->getLoadMidplaneSerial();
    mine->setLoadMidplaneSerial("MP2");
    EXPECT_STREQ(seen, "MP1");
  }
  EXPECT_EQ(listener.next(), "sysInfoChanged");
  {
    const test::Limit full(RLIMIT_FSIZE, 100);
    EXPECT_NE(changeValues({{"HttpDisable", "true"}, {"B.McVersion", "7"}}), "");
  }
  EXPECT_EQ(textOf("HttpDisable"), "false");
  EXPECT_EQ(SysInfoReadGuard().getObject()->getMCBInfo(), nullptr);
  reopen();
  EXPECT_EQ(textOf("A.LoadMidplaneSerial"), "MP2");
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

const Rows sample = {{{"A", "Serial"}, "tab\there"},
                     {{"system", "Text"}, "back\\slash, \\t,\nline"},
                     {{"user name", "Key\\"}, ""}};

TEST(TextFiles, HoldWhatWasCommittedLastWhereOneCouldBeWritten) {
  const test::Temporary directory;
  TextFile file(directory.path("s"));
  EXPECT_EQ(file.state(), TextFile::State::Empty);
  for (const Rows& next : {sample, Rows{}, sample}) {
    EXPECT_TRUE(file.commit(next)) << file.error();
    const TextFile again(directory.path("s"));
    EXPECT_EQ(again.state(), TextFile::State::Good) << again.error();
    EXPECT_EQ(again.rows(), next);
  }
  EXPECT_TRUE(file.copyTo(directory.path("copy")));
  EXPECT_EQ(TextFile(directory.path("copy")).rows(), sample);
  std::filesystem::create_directory(directory.path("s.new"));  // where the next content would be
  EXPECT_FALSE(file.commit({}));
  EXPECT_NE(file.error(), "");
  EXPECT_EQ(file.rows(), sample);
  EXPECT_EQ(TextFile(directory.path("s")).rows(), sample);
}

TEST(TextFiles, AChangedByteOrAMissingEndIsFound) {
  const test::Temporary directory;
  TextFile(directory.path("s")).commit(sample);
  const std::string whole = directory.read("s");
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::string changed = whole;
    changed[i] ^= 1;
    for (const std::string& content : {changed, whole.substr(0, i), whole + whole[i]}) {
      directory.write("s", content);
      const TextFile file(directory.path("s"));
      EXPECT_EQ(file.state() == TextFile::State::Empty, content.empty()) << content;
      EXPECT_NE(file.state(), TextFile::State::Good) << content;
      EXPECT_TRUE(file.rows().empty());
    }
  }
  directory.write("s", "settings 2\nanything");
  EXPECT_EQ(TextFile(directory.path("s")).state(), TextFile::State::Newer);
  EXPECT_EQ(TextFile(directory.path("")).state(), TextFile::State::Failed) << "a directory";
}

}  // namespace
}  // namespace services::sysinfo
