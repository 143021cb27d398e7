// What is kept of daemons: their history, whatever ended the host; why one is in its state, which
// is true in each cell of the rules' table; the flight recorder, and what this build makes of a
// flight of the field.
#include "app/supervision/app_HistoryFile.h"
#include "app/supervision/app_StatePass.h"
#include "host/service/fw_FlightReplay.h"
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
    EXPECT_EQ(kept, Texts(all.begin(), all.begin() + std::max<std::ptrdiff_t>(0, lines - 2)))
        << size;
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

using utility::LineRing;

TEST(LineRing, KeepsTheLastWholeLinesWhateverEndsTheProcess) {
  const test::Temporary files;
  const std::string path = files.path("ring");
  Texts all;
  for (int process = 0; process < 7; ++process) {  // sizes of 3 and of 5 lines
    const std::size_t room = process < 4 ? 3 : 5;
    LineRing ring(path.c_str(), std::int64_t(room * LineRing::lineSize + 7));
    ASSERT_TRUE(ring.isOpen());
    for (int i = 0; i < 2; ++i) {
      all.push_back(test::text("%d.%d ", process, i) + std::string(std::size_t(process) * 40, 'x'));
      ring.append(all.back());
      all.back().resize(std::min(all.back().size(), LineRing::maxText));
      while (all.back().ends_with(' ')) all.back().pop_back();
    }
    const std::size_t kept = process < 4 ? std::min<std::size_t>(3, all.size()) : 0;
    const Texts read = LineRing::texts(files.read("ring"));
    if (kept == 0) continue;
    EXPECT_EQ(read, Texts(all.end() - std::ptrdiff_t(kept), all.end()));
  }
  const std::string content = files.read("ring");
  EXPECT_EQ(content.size(), 5 * LineRing::lineSize);
  EXPECT_EQ(LineRing::texts(content), Texts(all.end() - 5, all.end()));
  for (std::size_t at = 0; at < content.size(); ++at) {  // a byte of a line that was being written
    std::string torn = content;
    torn[at] ^= 1;
    const std::size_t left = LineRing::texts(torn).size();
    EXPECT_TRUE(left == 4 || left == 3) << at;
  }
}

TEST(LineRing, IsNotOpenWhereTheDiskIsFull) {
  const test::Temporary files;
  const test::Limit full(RLIMIT_FSIZE, 1000);
  EXPECT_FALSE(LineRing(files.path("ring").c_str(), 65536).isOpen());
}

std::pair<int, std::string> replay(const std::string& content) {
  EXPECT_FALSE(replayed(""));
  int otherwise = 0;
  const std::string story =
      test::printed([&](auto& out) { otherwise = framework::FlightReplay::get()(content, out); });
  return {otherwise, story};
}

TEST(Flight, IsToldWithWhatThisBuildDecidesOtherwise) {
  const test::Temporary files;
  LineRing ring(files.path("flight").c_str(), 65536);
  ring.append("facts 1700000000000000 web Down 6 10 ----c- 0 0 is started");
  ring.append("command 1700000001000000 web stop console, process 812");
  ring.append("facts 1700000002000000 web Up 9 10 i---c- 2 70 is found down");
  ring.append("facts 1700000002000000 web Sideways 9 10 i---c- 2 70 is found down");
  ::setenv("TZ", "UTC", 1);
  const auto [otherwise, story] = replay(files.read("flight"));
  EXPECT_EQ(otherwise, 1);
  EXPECT_EQ(
      story,
      "TIME                 NAME  SEEN                          DECIDED               THIS BUILD\n"
      "2023-11-14 22:13:20  web   Down 6 s ----c-               is started            -\n"
      "2023-11-14 22:13:21  web   command stop                  console, process 812  -\n"
      "2023-11-14 22:13:22  web   Up 9 s i---c-, 2 from pid 70  is found down         nothing\n");
  EXPECT_EQ(replay("").first, -1);
}

TEST(Flight, OfTheFieldIsDecidedTheSame) {
  int flights = 0;
  for (const auto& entry : std::filesystem::directory_iterator(MC_FLIGHTS)) {
    std::stringstream content;
    content << std::ifstream(entry.path()).rdbuf();
    const auto [otherwise, story] = replay(content.str());
    EXPECT_EQ(otherwise, 0) << entry.path() << "\n" << story;
    ++flights;
  }
  EXPECT_GT(flights, 0);
}

using enum Process::State;

// What the words mean: the facts with that one made true, or made false.
const std::map<std::string, std::function<void(StateFacts&, bool)>> meanings = {
    {"a process of it runs", [](auto& f, bool on) { f.hasInstances = on; }},
    {"no process of it runs", [](auto& f, bool on) { f.hasInstances = !on; }},
    {"a restart was asked for", [](auto& f, bool on) { f.restarting = on; }},
    {"no restart that was asked for is awaited", [](auto& f, bool on) { f.restarting = !on; }},
    {"none of its processes ran before that", [](auto& f, bool on) { f.newGeneration = on; }},
    {"process control is on (MC_ARCH)", [](auto& f, bool on) { f.processControl = on; }},
    {"the start-up period is over", [](auto& f, bool on) { f.startUpPeriod = !on; }},
    {"it is not suspended", [](auto& f, bool on) { f.suspended = !on; }},
    {"it is Down for more than 5 s", [](auto& f, bool on) { f.stateSeconds = on ? 6 : 5; }},
    {"it is Starting for more than 30 s", [](auto& f, bool on) { f.stateSeconds = on ? 31 : 30; }},
    {"it is GoingDown for more than noKillSeconds",
     [](auto& f, bool on) { f.stateSeconds = f.noKillSeconds + (on ? 1 : 0); }},
};

StateFacts with(StateFacts facts, const StateCondition& condition, bool holds) {
  meanings.at(condition.text)(facts, holds);
  return facts;
}

void check(const StateFacts& facts) {
  if (const StateRule* rule = decidingRule(facts)) {
    for (const StateCondition* one : conditionsOf(*rule, facts, true)) {
      EXPECT_NE(decidingRule(with(facts, *one, false)), rule) << rule->text << ": " << one->text;
    }
  }
  for (const StateRule* next : nextRules(facts)) {
    const auto lacking = conditionsOf(*next, facts, false);
    StateFacts changed = facts;
    for (const StateCondition* one : lacking) changed = with(changed, *one, true);
    EXPECT_EQ(decidingRule(changed), next) << next->text;
    for (const StateCondition* one : lacking) {
      EXPECT_NE(decidingRule(with(changed, *one, false)), next) << next->text << ": " << one->text;
    }
    if (const auto seconds = secondsUntil(*next, facts)) {
      changed = facts;
      changed.stateSeconds += *seconds - 1;
      EXPECT_NE(decidingRule(changed), next) << next->text;
      ++changed.stateSeconds;
      EXPECT_EQ(decidingRule(changed), next) << next->text;
    }
  }
}

TEST(Why, IsTrueInEveryCell) {
  for (const Process::State state : {Up, Down, Starting, GoingDown, Unclassified}) {
    for (const int seconds : {0, 5, 6, 10, 11, 30, 31}) {
      for (unsigned int bits = 0; bits < 64; ++bits) {
        const auto bit = [&](unsigned int place) { return (bits >> place & 1U) != 0; };
        check({state, seconds, bit(0), bit(1), bit(2), bit(3), bit(4), bit(5), 10});
      }
    }
  }
}

}  // namespace
}  // namespace services::app
