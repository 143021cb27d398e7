// The path tracker in simulated time, and the hosts table in which "othermc" points.
#include "app/paths/app_NetTracker.h"
#include "app/paths/app_PathRules.h"
#include "host/machine/SimulatedPlatform.h"
#include "host/network/nw_HostsTable.h"
#include "host/network/nw_NetworkManager.h"
#include "support/TwoControllers.h"

namespace services::app {
namespace {

using test::second;

class Paths : public test::TwoControllers {
 public:
  explicit Paths(const std::string& outer = "10.0.2.2") : TwoControllers("A.IpV4Address=10.0.2.1") {
    std::filesystem::create_directory(machine.root() + "/etc");
    writeHosts("10.0.1.2 othermcinner othermc\n" + outer + " othermcouter\n");
    for (const char* path : {"inner", "outer"}) {
      machine.onCommand(std::string("ping -c 1 -W 10 othermc") + path, [this, path](const auto&) {
        return platform::Result{.status = down.count(path) > 0 ? 1 : 0};
      });
    }
    tracker = std::make_unique<NetTracker>("NetTracker");
  }

  void writeHosts(const std::string& table) {
    std::ofstream(machine.root() + "/etc/hosts") << table;
  }

  void at(std::int64_t seconds, std::function<void()> happening) {
    machine.at(seconds * second, std::move(happening));
  }

  void runUntil(std::int64_t seconds) {
    at(seconds, [this] { tracker->Shutdown(); });
    tracker->threadDo(0);
  }

  // The times of the pings of a path.
  std::string pings(const std::string& path) const {
    std::string text;
    for (const auto& ran : machine.commands()) {
      if (ran.line == "ping -c 1 -W 10 othermc" + path) text += std::to_string(ran.at) + " ";
    }
    return text;
  }

  static std::string partnerAddress() {
    std::array<char, 32> address{};
    network::NetworkManager::getHosts(address.data(), address.size(), "othermc");
    return address.data();
  }

  std::set<std::string> down;
  std::unique_ptr<NetTracker> tracker;
};

// The start-up phase ends with the cycle at 120 seconds, the first one past 119, which is still
// followed after the fast period.
TEST(NetTracker, PingsAllThroughTheStartUpPhaseWhileOnePathIsDown) {
  Paths test;
  test.down = {"outer"};
  test.runUntil(191);
  EXPECT_EQ(test.pings("inner"), "0 10 20 30 40 50 60 70 80 90 100 110 120 130 190 ");
  const auto report = [&](auto& stream) { test.tracker->information(stream, 0, false); };
  EXPECT_EQ(test::printed(report), "inner path: ^^^^^, outer path: vvvvv\n");
  EXPECT_FALSE(test.log.has("Outer"));
  EXPECT_EQ(test.partnerAddress(), "10.0.1.2");  // as it was: never touched
}

TEST(NetTracker, TheStartUpPhaseLastsBeyondItsLastSecond) {
  for (const int since : {119, 120})
    EXPECT_EQ(planCycle({true, since, true}).endsStartUp, since > 119);
}

TEST(NetTracker, FollowsTheOuterPath) {
  Paths test;
  test.at(131, [&] { EXPECT_EQ(test.partnerAddress(), "10.0.2.2"); });
  test.at(185, [&] { test.down = {"outer"}; });
  test.at(300, [&] { test.down = {}; });
  test.at(310, [&] { EXPECT_EQ(test.partnerAddress(), "10.0.1.2"); });
  test.at(330, [&] { test.down = {"inner"}; });
  test.runUntil(451);
  EXPECT_EQ(test.machine.elapsed(), 451 * second);  // the shutdown ends a wait
  EXPECT_EQ(test.pings("outer"), "0 130 190 200 260 320 380 390 450 ");
  EXPECT_EQ(test.log.count("MC Outer Path is now DOWN vvvvv"), 1);
  EXPECT_EQ(test.log.count("MC Outer Path is now UP ^^^^^"), 2);
  EXPECT_EQ(test.log.count("MC Inner Path is now DOWN vvvvv"), 1);
  EXPECT_EQ(test.partnerAddress(), "10.0.2.2");
}

TEST(NetTracker, LeavesTheNameWhereAnAddressIsMissing) {
  Paths test;
  test.at(50, [&] { test.writeHosts("10.0.2.2 othermc\n"); });
  test.at(60, [&] { test.down = {"outer"}; });
  test.runUntil(131);
  EXPECT_EQ(test.pings("outer"), "0 130 ");  // by its name, also when the table lacks it
  EXPECT_TRUE(test.log.has("MC Outer Path is now DOWN"));
  EXPECT_EQ(test.partnerAddress(), "10.0.2.2");
}

TEST(NetTracker, NeverPingsThisController) {
  for (const char* own : {"0.0.0.0", "10.0.2.1"}) {
    Paths test(own);
    test.runUntil(15);
    EXPECT_EQ(test.pings("outer"), "");
    EXPECT_EQ(test.log.count(std::string("NetTracker::ping:: Not allowing ping of self (") + own),
              2);
  }
}

}  // namespace
}  // namespace services::app

namespace services::network {
namespace {

// "mc" is pointed at 10.0.0.9: how that looks; what must hold of any file is in fuzz/.
TEST(HostsTable, PointsOneNameAndKeepsTheRest) {
  const std::array<const char*, 3> rows[] = {
      {"absent", "# a\n\n1.1.1.1 x", "# a\n\n1.1.1.1 x\n10.0.0.9\tmc\n"},
      {"alone", " 1.1.1.1 \tmc  # c\r\n\n# z\n", " 10.0.0.9 \tmc  # c\r\n\n# z\n"},
      {"amid others", "1.1.1.1 x  mc\ty # c\n", "10.0.0.9\tmc\n1.1.1.1 x\ty # c\n"},
      {"last, and twice in a line", "1.1.1.1 mc x mc mc", "10.0.0.9\tmc\n1.1.1.1 x"},
      {"in more lines", "1.1.1.1 mc\n2.2.2.2 mc # c\n3.3.3.3 x mc\n",
       "10.0.0.9 mc\n# c\n3.3.3.3 x\n"},
  };
  for (const auto& [name, before, after] : rows) {
    EXPECT_EQ(pointHost(before, "10.0.0.9", "mc"), after) << name;
  }
}

class HostsFile : public testing::Test {
 protected:
  HostsFile() {
    std::filesystem::create_directory(m_machine.root() + "/etc");
    std::ofstream(m_path) << "1.1.1.1 mc\n";
  }
  std::string content() const {
    std::ifstream file(m_path);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  struct stat status() const {
    struct stat status {};
    ::stat(m_path.c_str(), &status);
    return status;
  }

  platform::SimulatedPlatform m_machine;
  const std::string m_path = m_machine.root() + "/etc/hosts";
  test::LogCapture m_log;
};

TEST_F(HostsFile, IsReplacedWithItsModeAndOnlyForAChange) {
  ::chmod(m_path.c_str(), 0644);
  const ino_t before = status().st_ino;
  const std::ifstream reader(m_path);  // keeps the old file's number from being given again
  EXPECT_TRUE(NetworkManager::setHosts("1.1.1.1", "mc"));
  EXPECT_EQ(status().st_ino, before);
  EXPECT_TRUE(NetworkManager::setHosts("2.2.2.2", "mc"));
  EXPECT_NE(status().st_ino, before);
  EXPECT_EQ(status().st_mode & 07777U, 0644U);
  EXPECT_EQ(content(), "2.2.2.2 mc\n");
  std::array<char, 7> small{"-"};
  EXPECT_FALSE(NetworkManager::getHosts(small.data(), small.size(), "mc"));
  EXPECT_STREQ(small.data(), "-");
  EXPECT_FALSE(NetworkManager::getHosts(small.data(), small.size(), "nobody"));
}

TEST_F(HostsFile, IsLeftAloneByWhatIsNoAddressOrNameAndWhereItCannotBeRead) {
  const std::array<const char*, 2> rows[] = {
      {"1.1.1", "mc"},     {"1.1.1.1 x", "mc"}, {"", "mc"},      {"2.2.2.2", "mc\n3.3.3.3 root"},
      {"2.2.2.2", "mc x"}, {"2.2.2.2", "#mc"},  {"2.2.2.2", ""},
  };
  for (const auto& [address, name] : rows) EXPECT_FALSE(NetworkManager::setHosts(address, name));
  EXPECT_EQ(content(), "1.1.1.1 mc\n");
  EXPECT_EQ(m_log.count("hosts table: "), 7);
  std::filesystem::remove(m_path);  // what cannot be read whole must not be written back
  std::filesystem::create_directory(m_path);
  EXPECT_FALSE(NetworkManager::setHosts("2.2.2.2", "mc"));
  EXPECT_TRUE(std::filesystem::is_directory(m_path));
}

}  // namespace
}  // namespace services::network
