// The rules by which a daemon's state changes after each scan.
#include "app/supervision/app_StatePass.h"

#include <algorithm>
#include <iterator>

namespace services::app {

namespace {

using Facts = StateFacts;
using Condition = StateCondition;
using enum Process::State;

constexpr Condition runs = {[](const Facts& f) { return f.hasInstances; }, "a process of it runs"};
constexpr Condition gone = {[](const Facts& f) { return !f.hasInstances; },
                            "no process of it runs"};
constexpr Condition restartAsked = {[](const Facts& f) { return f.restarting; },
                                    "a restart was asked for"};
constexpr Condition noRestartAsked = {[](const Facts& f) { return !f.restarting; },
                                      "no restart that was asked for is awaited"};
constexpr Condition renewed = {[](const Facts& f) { return f.newGeneration; },
                               "none of its processes ran before that"};
constexpr Condition controlled = {[](const Facts& f) { return f.processControl; },
                                  "process control is on (MC_ARCH)"};
constexpr Condition started = {[](const Facts& f) { return !f.startUpPeriod; },
                               "the start-up period is over"};
constexpr Condition notSuspended = {[](const Facts& f) { return !f.suspended; },
                                    "it is not suspended"};

// The state has lasted for more than the limit's seconds.
template <int (*limit)(const Facts&)>
constexpr Condition lasts(const char* text) {
  return {[](const Facts& f) { return f.stateSeconds > limit(f); }, text, limit};
}
int restartLimit(const Facts& /*facts*/) { return 5; }
int startLimit(const Facts& /*facts*/) { return 30; }
int killLimit(const Facts& f) { return f.noKillSeconds; }

constexpr Condition downLong = lasts<restartLimit>("it is Down for more than 5 s");
constexpr Condition startingLong = lasts<startLimit>("it is Starting for more than 30 s");
constexpr Condition overstays = lasts<killLimit>("it is GoingDown for more than noKillSeconds");

constexpr StateRule rules[] = {
    {Up, {&runs, &restartAsked, &renewed}, "its restart is seen", {.clearRestarting = true}},
    {Up, {&gone}, "is found down", {.enter = Down, .again = true}},
    {Down, {&runs}, "is found up", {.enter = Up, .clearRestarting = true}},
    {Down,
     {&gone, &controlled, &started, &notSuspended, &downLong, &noRestartAsked},
     "is started",
     {.considerRestart = true, .restart = true, .enter = Starting}},
    {Down,
     {&gone, &controlled, &started, &notSuspended},
     "waits to be started",
     {.considerRestart = true, .soon = true}},
    {Starting, {&runs}, "has come up", {.enter = Up}},
    {Starting, {&gone, &startingLong}, "is given up", {.enter = GoingDown, .soon = true}},
    {GoingDown, {&runs, &overstays}, "is killed", {.kill = true, .enter = GoingDown, .soon = true}},
    {GoingDown, {&runs}, "is waited for", {.soon = true}},
    {GoingDown, {&gone}, "has ended", {.enter = Down, .soon = true}},
    {Unclassified, {&runs}, "is found up", {.enter = Up}},
    {Unclassified, {&gone, &started}, "is found down", {.enter = Down, .again = true}},
};

bool isLeadingOn(const StateAction& action) { return action.enter || action.clearRestarting; }

bool holds(const StateRule& rule, const Facts& facts) {
  return rule.state == facts.state && std::ranges::all_of(rule.when, [&](const Condition* one) {
           return one == nullptr || one->holds(facts);
         });
}

}  // namespace

const StateRule* decidingRule(const StateFacts& facts) {
  const auto* const found =
      std::ranges::find_if(rules, [&](const StateRule& rule) { return holds(rule, facts); });
  return found == std::end(rules) ? nullptr : found;
}

std::vector<const StateRule*> nextRules(const StateFacts& facts) {
  std::vector<const StateRule*> next;
  for (const StateRule& rule : rules) {
    const bool lacks = rule.state == facts.state && !holds(rule, facts);
    if (lacks && isLeadingOn(rule.action)) next.push_back(&rule);
  }
  return next;
}

std::vector<const StateCondition*> conditionsOf(const StateRule& rule, const StateFacts& facts,
                                                bool hold) {
  std::vector<const StateCondition*> conditions;
  std::ranges::copy_if(rule.when, std::back_inserter(conditions), [&](const Condition* one) {
    return one != nullptr && one->holds(facts) == hold;
  });
  return conditions;
}

std::optional<int> secondsUntil(const StateRule& rule, const StateFacts& facts) {
  int seconds = 0;
  for (const Condition* lacking : conditionsOf(rule, facts, false)) {
    if (lacking->limit == nullptr) return std::nullopt;
    seconds = std::max(seconds, lacking->limit(facts) + 1 - facts.stateSeconds);
  }
  return seconds;
}

}  // namespace services::app
