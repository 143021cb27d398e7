// The rules of the path tracker: its phases, and what ping results change. Nothing but values.
#pragma once

#include <cstdint>

namespace services::app {

/// What a cycle begins with.
struct TrackerFacts {
  bool isStartUp;           ///< the start-up phase is on
  std::int64_t sinceStart;  ///< whole seconds since the tracker started
  bool areBothUp;           ///< both paths
};

/// What a cycle does: whether it pings, whether it is the start-up phase's last, and whether the
/// next one follows after the fast or the normal period, unless a path goes down.
struct CyclePlan {
  bool pings = true;
  bool endsStartUp = false;
  bool isFast = false;
};

CyclePlan planCycle(const TrackerFacts& facts);

/// What a ping's result changes of a path.
enum class PathChange { None, Up, Down };

PathChange changeOfPath(bool wasUp, bool answers);

}  // namespace services::app
