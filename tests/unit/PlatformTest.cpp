// The simulated machine: the order of what happens, deadlines, signals, scripted commands.
#include <gtest/gtest.h>

#include <vector>

#include "host/framework/fw_Container.h"
#include "host/platform/SimulatedPlatform.h"
#include "support/LogCapture.h"
#include "util/ut_BufferStream.h"

namespace {

constexpr std::int64_t second = 1000000;

class Simulation : public testing::Test {
 protected:
  void wait(std::int64_t microseconds) {
    const std::lock_guard lock(point.mutex);
    machine.wait(point, microseconds);
  }
  void signal() {
    const std::lock_guard lock(point.mutex);
    point.signalled = true;
  }
  void broadcast() {
    const std::lock_guard lock(point.mutex);
    ++point.broadcasts;
  }
  std::function<void()> note(int number) {
    return [this, number] { notes.push_back(number); };
  }

  platform::SimulatedPlatform machine;
  platform::WaitPoint point;
  std::vector<int> notes;
};

TEST_F(Simulation, HappeningsRunByTimeThenSequenceAndOnce) {
  machine.at(30, note(4));
  machine.at(10, note(1));
  machine.at(20, note(2));
  machine.at(20, note(3));
  wait(9);
  EXPECT_TRUE(notes.empty());
  wait(91);
  EXPECT_EQ(notes, (std::vector{1, 2, 3, 4}));
  EXPECT_EQ(machine.elapsed(), 100);
}

TEST_F(Simulation, HappeningsScheduleHappeningsAndTimeDoesNotStepBack) {
  machine.pass(50);
  machine.at(10, [&] {  // past already
    note(static_cast<int>(machine.elapsed()))();
    machine.at(10, note(1));
    machine.at(55, note(2));
    machine.at(151, note(3));  // past the wait
  });
  wait(100);
  EXPECT_EQ(notes, (std::vector{50, 1, 2}));
  EXPECT_EQ(machine.elapsed(), 150);
}

TEST_F(Simulation, AWakeUpEndsOneWait) {
  signal();
  wait(100);
  EXPECT_EQ(machine.elapsed(), 0);
  machine.at(40, [this] { signal(); });
  machine.at(40, note(1));  // due at the same time, but behind the signal
  wait(100);
  EXPECT_EQ(machine.elapsed(), 40);
  EXPECT_TRUE(notes.empty());
  machine.at(60, [this] { broadcast(); });
  wait(100);
  EXPECT_EQ(machine.elapsed(), 60);
  wait(100);
  EXPECT_EQ(machine.elapsed(), 160);  // nothing was left over
}

TEST_F(Simulation, AWallClockThatStepsBackReplaysNothing) {
  machine.at(10, note(1));
  machine.at(20, [this] { machine.stepWallClock(-3600 * second); });
  machine.at(30, note(2));
  const std::int64_t before = machine.now();
  wait(100);
  EXPECT_EQ(machine.now(), before + 100);
  EXPECT_EQ(machine.wallOffset(), -3600 * second);
  wait(7200 * second);
  EXPECT_EQ(notes, (std::vector{1, 2}));
}

TEST_F(Simulation, ADelayTakesItsTime) {
  taskDelay(50);
  EXPECT_EQ(machine.elapsed(), 50 * 10000);
}

TEST_F(Simulation, CommandsAreRecordedAndTheLongestPrefixActs) {
  machine.onCommand("run web", [](const platform::Command& command) {
    command.output->SendOutputStream("up", 2);
    return platform::Result{.status = 7};
  });
  machine.onCommand("run", [](const platform::Command&) { return platform::Result{.status = 8}; });
  std::array<char, 16> text;
  utility::BufferStream output(text.data(), text.size(), true);
  EXPECT_EQ(framework::Container::spawn("run web start", nullptr, &output), 7);
  EXPECT_STREQ(text.data(), "up");
  machine.pass(5 * second);
  EXPECT_EQ(framework::Container::spawn("run we", nullptr, nullptr), 8);
  EXPECT_EQ(framework::Container::spawn("ru &", nullptr, nullptr), 0);
  const std::vector<platform::SimulatedPlatform::Ran> expected = {
      {0, "run web start", false}, {5, "run we", false}, {5, "ru", true}};
  EXPECT_EQ(machine.commands(), expected);
}

TEST_F(Simulation, CommandsOfOneBudgetShareOneLimit) {
  std::vector<std::int64_t> limits;
  machine.onCommand("slow", [&](const platform::Command& command) {
    limits.push_back(command.limit / second);
    machine.pass(25 * second);
    return platform::Result{};
  });
  const auto runFour = [] {
    for (int i = 0; i < 4; ++i) framework::Container::spawn("slow", nullptr, nullptr);
  };
  framework::Container::setCommandLimit(60);
  {
    const framework::CommandBudget budget;
    runFour();
  }
  runFour();
  EXPECT_EQ(limits, (std::vector<std::int64_t>{60, 35, 10, 0, 60, 60, 60, 60}));
}

TEST_F(Simulation, ACommandThatDidNotEndByItselfIsAnErrorLine) {
  const test::LogCapture log;
  const struct {
    platform::Outcome outcome;
    const char* line;
  } rows[] = {{platform::Outcome::NotStarted, "command could not be started: x"},
              {platform::Outcome::TimedOut, "command passed its time limit and was killed: x"},
              {platform::Outcome::Aborted, "command was killed, the host is stopping: x"}};
  for (const auto& row : rows) {
    machine.onCommand("x", [&](const platform::Command&) {
      return platform::Result{.outcome = row.outcome, .status = 0};
    });
    EXPECT_NE(framework::Container::spawn("x", nullptr, nullptr), 0) << row.line;
    EXPECT_EQ(log.count(row.line), 1) << row.line;
  }
}

}  // namespace
