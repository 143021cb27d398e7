// The daemons' history: what is kept, what a file gives back, whatever ended the host.

#include "app/supervision/app_HistoryFile.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

using test::Random;
using test::Texts;

using test::second;

std::string told(const HistoryEntry& one) {
  return one.daemon +
         test::text(" %ld %u %u %d %d ", long(one.at), one.from, one.to, one.restart,
                    one.secondsDown) +
         one.what + "|" + one.cause + "|" + one.outcome;
}

Texts told(const History& history, const std::string& daemon) {
  Texts all;
  for (const HistoryEntry& one : history.entries(daemon)) all.push_back(told(one));
  const History::Summary sums = history.summary(daemon);
  all.push_back(test::text("%u %u %u %ld %d", sums.restarts, sums.overLimit, sums.timesDown,
                           long(sums.secondsDown), sums.worst));
  return all;
}

// What is kept of one daemon, told plainly: all that happened, of which the last is shown.
struct Model {
  std::vector<HistoryEntry> all;
  std::int64_t downSince = 0;

  void add(HistoryEntry one) {
    if (one.to == Process::Down && downSince == 0) downSince = one.at;
    if (one.to == Process::Up && downSince != 0) {
      one.secondsDown = static_cast<int>((one.at - std::exchange(downSince, 0)) / second);
    }
    all.push_back(one);
  }
  Texts told(std::size_t kept) const {
    Texts shown;
    History::Summary sums;
    for (const HistoryEntry& one : all) {
      sums.restarts += one.restart ? 1 : 0;
      sums.overLimit += one.restart && one.to != Process::Starting ? 1 : 0;
      sums.timesDown += one.secondsDown >= 0 ? 1 : 0;
      sums.secondsDown += std::max(0, one.secondsDown);
      sums.worst = std::max(sums.worst, one.secondsDown);
    }
    for (std::size_t i = all.size() - std::min(kept, all.size()); i < all.size(); ++i)
      shown.push_back(app::told(all[i]));
    shown.push_back(test::text("%u %u %u %ld %d", sums.restarts, sums.overLimit, sums.timesDown,
                               long(sums.secondsDown), sums.timesDown == 0 ? 0 : sums.worst));
    return shown;
  }
};

HistoryEntry randomEntry(Random& random, const std::string& daemon, std::int64_t at) {
  using enum Process::State;
  const std::vector<Process::State> states = {Up, Down, Starting, GoingDown, Unclassified};
  return {.daemon = daemon,
          .at = at,
          .from = random.of(states),
          .to = random.of(states),
          .restart = random.once(3),
          .what = random.of<std::string>({"is started", "restart"}),
          .cause = random.of<std::string>({"", "process 7 is gone", "console, process 812"})};
}

// In one file, whose lines wait and are written in random pieces by hosts one after the other.
TEST(History, KeepsWhatItsModelKeepsOverRestartsOfTheHost) {
  const test::SimulatedController controller;
  for (unsigned long seed = 1; seed <= 40; ++seed) {
    Random random(seed);
    const std::string path = "/var/log/history" + std::to_string(seed);
    const Texts names = {"web", "snmpd"};
    std::map<std::string, Model> model;
    std::int64_t at = second;
    for (int hosts = 0; hosts < 4; ++hosts) {
      History history;
      HistoryFile file(history, path);
      file.load(names);
      for (auto& [name, daemon] : model) daemon.downSince = 0;
      for (long count = random.below(120); count > 0; --count) {
        const HistoryEntry one =
            randomEntry(random, random.of(names), at += random.below(99999999));
        file.add(one);
        model[one.daemon].add(one);
        if (random.once(3)) {
          file.setOutcome(one.daemon, one.what, "exit status 0");
          model[one.daemon].all.back().outcome = "exit status 0";
        }
        if (random.once(9)) file.stop();  // writes
      }
      for (const std::string& name : names) {
        EXPECT_EQ(told(history, name), model[name].told(64)) << seed;
      }
    }
  }
}

TEST(History, GivesBackTheWholeLinesOfAFileThatWasCutAnywhere) {
  const test::SimulatedController clockThatStandsStill;
  History whole;
  whole.add({.daemon = "web", .at = second, .to = Process::Down, .what = "x\ty", .cause = "\n"});
  whole.add({.daemon = "web", .at = 9 * second, .to = Process::Up, .what = "is found up"});
  whole.setOutcome("web", "is found up", "exit status 1: " + std::string(99, 'x'));
  const std::string text = "entry\tgone\n" + whole.text();
  const Texts all = told(whole, "web");
  for (std::size_t size = 0; size <= text.size(); ++size) {
    History part;
    const auto lines = std::ranges::count(text.substr(0, size), '\n');
    EXPECT_EQ(part.read(text.substr(0, size), {"web"}), lines > 0 ? 1U : 0U);
    Texts kept = told(part, "web");
    kept.pop_back();
    EXPECT_EQ(kept, Texts(all.begin(), all.begin() + std::max(0L, lines - 2))) << size;
  }
  History other;
  EXPECT_EQ(other.read(text, {"another"}), 1U);
  EXPECT_EQ(other.text(), "");
}

TEST(History, IsBoundedInAll) {
  History history;
  const std::string long_(200, 'x');
  for (int i = 0; i < 500 * 70; ++i) {
    const std::string name = test::text("daemon-%d-", i % 500) + std::string(50, 'x');
    history.add({.daemon = name, .at = i, .restart = true, .what = long_, .cause = long_});
  }
  EXPECT_EQ(history.entries("").size(), History::maxEntriesOfAll);
  EXPECT_EQ(history.entries("").front().at, 500 * 70 - long(History::maxEntriesOfAll));
  EXPECT_EQ(history.summary(history.entries("").front().daemon).restarts, 70U);
  EXPECT_LT(history.text().size(), 1U << 19);
}

TEST(History, LosesNothingWhileItsFileCannotBeWritten) {
  const test::SimulatedController controller;
  const std::string place = controller.machine.root() + "/var/log/history";
  History history;
  HistoryFile file(history, "/var/log/history");
  std::filesystem::create_directory(place);
  for (int i = 0; i < 3; ++i) {
    file.add({.daemon = "web", .at = i, .what = "is found up"});
    file.stop();
  }
  EXPECT_EQ(controller.log.count("history: /var/log/history cannot be written"), 1);
  std::filesystem::remove(place);
  file.stop();
  EXPECT_EQ(controller.readFile("/var/log/history"), history.text());
  EXPECT_EQ(history.entries("web").size(), 3U);
}

// The lines reach the file while the threads run, each once, also where it is written anew.
TEST(History, IsWrittenAsItHappens) {
  const test::Temporary files;
  const std::string path = files.path("history");
  History history;
  HistoryFile file(history, path);
  file.start();
  {
    std::array<std::jthread, 2> threads;
    for (auto& thread : threads) {
      thread = std::jthread([&] {
        for (int i = 0; i < 5000; ++i) {
          file.add({.daemon = "web", .at = i, .restart = true, .cause = std::string(80, 'x')});
        }
      });
    }
  }
  EXPECT_TRUE(test::eventually([&] {
    History kept;
    kept.read(files.read("history"), {"web"});
    return kept.summary("web").restarts == 10000;
  }));
  EXPECT_LT(std::filesystem::file_size(path), (1U << 20) + (1U << 16));
}

}  // namespace
}  // namespace services::app
