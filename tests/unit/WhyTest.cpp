// Why a daemon is in its state: in each cell of the rules' table what is said is true.

#include "app/supervision/app_StatePass.h"
#include "support/Test.h"

namespace services::app {
namespace {

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
