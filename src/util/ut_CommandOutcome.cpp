// What became of a shell command that was run for a daemon.
#include "util/ut_CommandOutcome.h"

#include <array>
#include <cstdio>

namespace utility {

namespace {

std::string headOf(const CommandOutcome& outcome) {
  using enum CommandOutcome::Stage;
  switch (outcome.stage) {
    case Waiting:
      return "waits, very many run";
    case Running:
      return "still runs";
    case NotStarted:
      return "could not be started";
    case Exited:
      return "exit status " + std::to_string(outcome.value);
    case Signalled:
      return "ended by signal " + std::to_string(outcome.value);
    case Killed:
      return "killed by the host";
  }
  return "";
}

}  // namespace

std::string CommandOutcome::text() const {
  std::string text = headOf(*this);
  if (stage == Stage::Waiting || stage == Stage::NotStarted) return text;
  std::array<char, 32> time;
  std::snprintf(time.data(), time.size(), " after %.1f s", static_cast<double>(took) / 1e6);
  text += time.data();
  return error.empty() ? text : text + ": " + error;
}

}  // namespace utility
