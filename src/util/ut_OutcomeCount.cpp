// How the commands for one purpose have ended.
#include "util/ut_OutcomeCount.h"

#include <array>
#include <cstddef>

namespace utility {

OutcomeCount& OutcomeCount::of(Purpose purpose) {
  static std::array<OutcomeCount, 3> counts;
  return counts.at(static_cast<std::size_t>(purpose));
}

void OutcomeCount::note(const CommandOutcome& outcome) {
  if (!outcome.isEnded()) return;
  if (outcome.stage == CommandOutcome::Stage::Killed) {
    ++m_killed;
  } else {
    ++(outcome.isFailed() ? m_failed : m_succeeded);
  }
}

}  // namespace utility
