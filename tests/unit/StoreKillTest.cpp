// The store under kill -9 at any moment: nothing committed is lost, nothing half is seen.

#include "support/Test.h"
#include "sysinfo/store/si_Store.h"

namespace services::sysinfo {
namespace {

constexpr int kills = 200;
constexpr int keys = 20;

// One state of the store: every value is the number of the change.
Rows rowsOf(int number) {
  Rows rows;
  for (int key = 0; key < keys; ++key) {
    rows[{key % 2 == 0 ? "system" : "user u", std::to_string(key)}] = std::to_string(number);
  }
  return rows;
}

// Changes the store for ever and says the number of each change that was committed.
[[noreturn]] void change(const std::string& path, int number, int said) {
  framework::Logger::setLevel(framework::LogType::Error);
  Store store(path, rowsOf(0), [](const Rows&) {});
  for (;; ++number) {
    if (!store.replace({"system", "user u"}, rowsOf(number))) ::_exit(1);
    if (::write(said, &number, sizeof number) != sizeof number) ::_exit(1);
  }
}

// Does so in a child that is killed these microseconds after it has committed the first; the number
// of the last change that it said.
int changeUntilKilled(const std::string& path, int first, unsigned int microseconds) {
  std::array<int, 2> ends{};
  EXPECT_EQ(::pipe(ends.data()), 0);
  const pid_t child = ::fork();
  if (child == 0) change(path, first, ends[1]);
  ::close(ends[1]);
  int last = first - 1;
  EXPECT_EQ(::read(ends[0], &last, sizeof last), ssize_t(sizeof last)) << "the child did nothing";
  ::usleep(microseconds);
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  for (int number = 0; ::read(ends[0], &number, sizeof number) == sizeof number;) last = number;
  ::close(ends[0]);
  return last;
}

TEST(StoreKill, LosesNothingAndShowsNothingHalf) {
  const test::Temporary directory;
  const std::string path = directory.path("system.db");
  std::mt19937 random(20261123);
  int committed = 0;
  for (int kill = 0; kill < kills; ++kill) {
    const auto moment = static_cast<unsigned int>(random() % 25000);
    const int said = changeUntilKilled(path, committed + 1, moment);
    const Database found(path);
    ASSERT_EQ(found.state(), Database::State::Good) << found.error();
    const int seen = std::stoi(found.rows().begin()->second);
    EXPECT_EQ(found.rows(), rowsOf(seen)) << "half of a change";
    EXPECT_GE(seen, said) << "a committed change is lost";
    EXPECT_LE(seen, said + 1);
    committed = seen;
  }
  const Database copy(path + ".good");
  EXPECT_EQ(copy.state(), Database::State::Good) << copy.error();
  std::printf("%d kills, %d changes committed\n", kills, committed);
  RecordProperty("changes", committed);
}

}  // namespace
}  // namespace services::sysinfo
