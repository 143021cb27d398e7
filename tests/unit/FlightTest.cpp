// Why a daemon is in its state, which is true in each cell of the rules' table; and the flight
// recorder: what its file gives back, and what this build makes of a flight of the field.
#include "app/supervision/app_StatePass.h"
#include "host/service/fw_FlightReplay.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

using test::Texts;
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
