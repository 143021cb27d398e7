// The hosts table: changing a name without touching the rest, and the file.

#include "host/machine/SimulatedPlatform.h"
#include "host/network/nw_HostsTable.h"
#include "host/network/nw_NetworkManager.h"
#include "support/Test.h"

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
