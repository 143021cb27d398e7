// The flight recorder: what the state pass decided on, cycle by cycle, and the same decided again.
//
// A line is "facts AT DAEMON STATE SECONDS NOKILLSECONDS FLAGS INSTANCES PID RULE" or "command AT
// DAEMON COMMAND BY", where RULE and BY are the rest of the line.
#include "app/supervision/app_Flight.h"

#include <array>
#include <sstream>

#include "host/base/st_StringRepository.h"
#include "util/fw_ShownText.h"
#include "util/ut_System.h"
#include "util/ut_TimeMeasure.h"

namespace services::app {

namespace {

// A letter for each fact that is true or false.
struct Flag {
  char letter;
  bool StateFacts::*fact;
};
constexpr Flag flags[] = {
    {'i', &StateFacts::hasInstances},   {'s', &StateFacts::suspended},
    {'r', &StateFacts::restarting},     {'n', &StateFacts::newGeneration},
    {'c', &StateFacts::processControl}, {'u', &StateFacts::startUpPeriod},
};

std::string flagsOf(const StateFacts& facts) {
  std::string letters;
  for (const Flag& flag : flags) letters += facts.*flag.fact ? flag.letter : '-';
  return letters;
}

std::optional<Process::State> stateOf(const std::string& text) {
  using enum Process::State;
  for (const Process::State state : {Unclassified, Up, Down, Starting, GoingDown}) {
    if (text == strings::StringRepository::toString(state)) return state;
  }
  return std::nullopt;
}

std::string restOf(std::istringstream& words) {
  std::string rest;
  std::getline(words >> std::ws, rest);
  return rest;
}

std::string timeText(std::int64_t at) {
  std::array<char, 32> text;
  return utility::TimeMeasure::printWallTime(at, text.data(), text.size());
}

std::string ruleOf(const StateFacts& facts) {
  const StateRule* const rule = decidingRule(facts);
  return rule == nullptr ? "" : rule->text;
}

FlightRow rowOf(const FlightFacts& flown) {
  const std::string now = ruleOf(flown.facts);
  const std::string pids = flown.instances == 0 ? ""
                                                : ", " + std::to_string(flown.instances) +
                                                      " from pid " + std::to_string(flown.pid);
  return {timeText(flown.at), flown.daemon,
          std::string(strings::StringRepository::toString(flown.facts.state)) + " " +
              std::to_string(flown.facts.stateSeconds) + " s " + flagsOf(flown.facts) + pids,
          flown.rule,
          now == flown.rule ? ""
          : now.empty()     ? "nothing"
                            : now};
}

}  // namespace

std::string flightLine(const FlightFacts& flown) {
  std::ostringstream line;
  line << "facts " << flown.at << ' ' << flown.daemon << ' '
       << strings::StringRepository::toString(flown.facts.state) << ' ' << flown.facts.stateSeconds
       << ' ' << flown.facts.noKillSeconds << ' ' << flagsOf(flown.facts) << ' ' << flown.instances
       << ' ' << flown.pid << ' ' << flown.rule;
  return line.str();
}

std::optional<FlightFacts> flownFacts(std::string_view line) {
  FlightFacts flown;
  std::string kind, state, letters;
  std::istringstream words{std::string(line)};
  words >> kind >> flown.at >> flown.daemon >> state >> flown.facts.stateSeconds >>
      flown.facts.noKillSeconds >> letters >> flown.instances >> flown.pid;
  const auto known = stateOf(state);
  if (!words || kind != "facts" || !known) return std::nullopt;
  flown.facts.state = *known;
  for (const Flag& flag : flags) {
    flown.facts.*flag.fact = letters.find(flag.letter) != std::string::npos;
  }
  flown.rule = restOf(words);
  return flown;
}

std::string flightLine(std::int64_t at, const std::string& daemon, const std::string& command,
                       const std::string& by) {
  return "command " + std::to_string(at) + " " + daemon + " " + command + " " +
         framework::shownText(by);
}

std::optional<FlightRow> replayed(std::string_view line) {
  if (const auto flown = flownFacts(line)) return rowOf(*flown);
  std::string kind, daemon, command;
  std::int64_t at = 0;
  std::istringstream words{std::string(line)};
  words >> kind >> at >> daemon >> command;
  if (!words || kind != "command") return std::nullopt;
  return FlightRow{timeText(at), daemon, "command " + command, restOf(words), ""};
}

}  // namespace services::app
