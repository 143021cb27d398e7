// The rules of the state pass: every state with and without instances, both sides of each limit.
#include "app/app_StatePass.h"

#include <gtest/gtest.h>

#include "host/framework/st_StringRepository.h"

namespace services::app {
namespace {

using enum Process::State;

enum Flag { None = 0, StartUp = 1, NoRestarts = 2, Suspended = 4, Restarting = 8, Renewed = 16 };

struct Row {
  const char* name;
  Process::State state;
  bool hasInstances;
  int seconds;
  int flags;
  const char* expected;
};

constexpr int noKillSeconds = 10;

// What is to be done, in a word each, in the order in which it is done.
std::string describe(const StateAction& action) {
  std::string text;
  const auto add = [&](bool is, const std::string& word) {
    if (is) text += (text.empty() ? "" : " ") + word;
  };
  add(action.kill, "kill");
  add(action.restart, "restart");
  add(action.enter.has_value(),
      action.enter ? strings::StringRepository::toString(*action.enter) : "");
  add(action.clearRestarting, "clear");
  add(action.again, "again");
  add(action.soon, "soon");
  return text;
}

class StatePass : public testing::TestWithParam<Row> {};

TEST_P(StatePass, Decides) {
  const Row& row = GetParam();
  const StateFacts facts = {
      .state = row.state,
      .stateSeconds = row.seconds,
      .hasInstances = row.hasInstances,
      .suspended = (row.flags & Suspended) != 0,
      .restarting = (row.flags & Restarting) != 0,
      .newGeneration = (row.flags & Renewed) != 0,
      .restartsAllowed = (row.flags & (NoRestarts | StartUp)) == 0,
      .startUpPeriod = (row.flags & StartUp) != 0,
      .noKillSeconds = noKillSeconds,
  };
  EXPECT_EQ(describe(decideState(facts)), row.expected);
}

constexpr Row rows[] = {
    {"UpRunning", Up, true, 100, None, ""},
    {"UpRunningRestartPendingOldInstance", Up, true, 100, Restarting, ""},
    {"UpRunningRestartSeen", Up, true, 100, Restarting | Renewed, "clear"},
    {"UpGone", Up, false, 100, None, "Down again"},
    {"UpGoneInStartUp", Up, false, 100, StartUp, "Down again"},
    {"DownFound", Down, true, 0, None, "Up clear"},
    {"DownFoundSuspended", Down, true, 0, Suspended | Restarting, "Up clear"},
    {"DownFiveSeconds", Down, false, 5, None, "soon"},
    {"DownSixSeconds", Down, false, 6, None, "restart Starting"},
    {"DownRestartAskedFor", Down, false, 600, Restarting, "soon"},
    {"DownSuspended", Down, false, 600, Suspended, ""},
    {"DownNoProcessControl", Down, false, 600, NoRestarts, ""},
    {"DownInStartUp", Down, false, 600, StartUp, ""},
    {"StartingFound", Starting, true, 31, None, "Up"},
    {"StartingThirtySeconds", Starting, false, 30, None, ""},
    {"StartingThirtyOneSeconds", Starting, false, 31, None, "GoingDown soon"},
    {"GoingDownAtLimit", GoingDown, true, 10, None, "soon"},
    {"GoingDownPastLimit", GoingDown, true, 11, None, "kill GoingDown soon"},
    {"GoingDownGone", GoingDown, false, 0, None, "Down soon"},
    {"GoingDownGoneLate", GoingDown, false, 99, Suspended, "Down soon"},
    {"UnclassifiedFound", Unclassified, true, 0, StartUp, "Up"},
    {"UnclassifiedInStartUp", Unclassified, false, 119, StartUp, ""},
    {"UnclassifiedAfterStartUp", Unclassified, false, 121, None, "Down again"},
    {"UnclassifiedAfterStartUpNoControl", Unclassified, false, 121, NoRestarts, "Down again"},
};

INSTANTIATE_TEST_SUITE_P(Table, StatePass, testing::ValuesIn(rows),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace services::app
