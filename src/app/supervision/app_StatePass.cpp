// The rules by which a daemon's state changes after each scan.
#include "app/supervision/app_StatePass.h"

#include <algorithm>
#include <iterator>

namespace services::app {

namespace {

constexpr int restartAfterSeconds = 5;  // in Down
constexpr int startLimitSeconds = 30;   // in Starting

using Facts = StateFacts;
using enum Process::State;

struct Rule {
  Process::State state;
  bool (*holds)(const Facts&);
  StateAction action;
};

bool has(const Facts& f) { return f.hasInstances; }
bool none(const Facts& f) { return !f.hasInstances; }
bool renewed(const Facts& f) { return f.hasInstances && f.restarting && f.newGeneration; }
bool mayRestart(const Facts& f) { return none(f) && f.restartsAllowed && !f.suspended; }
bool restartIsDue(const Facts& f) {
  return mayRestart(f) && f.stateSeconds > restartAfterSeconds && !f.restarting;
}
bool startCameToNothing(const Facts& f) { return none(f) && f.stateSeconds > startLimitSeconds; }
bool overstays(const Facts& f) { return has(f) && f.stateSeconds > f.noKillSeconds; }
bool isDownForGood(const Facts& f) { return none(f) && !f.startUpPeriod; }

// The first rule of the state that holds decides; where none holds there is nothing to do.
constexpr Rule rules[] = {
    {Up, renewed, {.clearRestarting = true}},
    {Up, none, {.enter = Down, .again = true}},
    {Down, has, {.enter = Up, .clearRestarting = true}},
    {Down, restartIsDue, {.considerRestart = true, .restart = true, .enter = Starting}},
    {Down, mayRestart, {.considerRestart = true, .soon = true}},
    {Starting, has, {.enter = Up}},
    {Starting, startCameToNothing, {.enter = GoingDown, .soon = true}},
    {GoingDown, overstays, {.kill = true, .enter = GoingDown, .soon = true}},
    {GoingDown, has, {.soon = true}},
    {GoingDown, none, {.enter = Down, .soon = true}},
    {Unclassified, has, {.enter = Up}},
    {Unclassified, isDownForGood, {.enter = Down, .again = true}},
};

}  // namespace

StateAction decideState(const StateFacts& facts) {
  const auto* const found = std::find_if(std::begin(rules), std::end(rules), [&](const Rule& rule) {
    return rule.state == facts.state && rule.holds(facts);
  });
  return found == std::end(rules) ? StateAction{} : found->action;
}

}  // namespace services::app
