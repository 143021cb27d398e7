// The rules of the path tracker: its phases, and what ping results change.
#include "app/paths/app_PathRules.h"

namespace services::app {

namespace {

constexpr std::int64_t startUpSeconds = 119;

}  // namespace

CyclePlan planCycle(const TrackerFacts& facts) {
  if (!facts.isStartUp) return {};
  return {
      .pings = !facts.areBothUp, .endsStartUp = facts.sinceStart > startUpSeconds, .isFast = true};
}

PathChange changeOfPath(bool wasUp, bool answers) {
  if (wasUp == answers) return PathChange::None;
  return answers ? PathChange::Up : PathChange::Down;
}

}  // namespace services::app
