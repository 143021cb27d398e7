// Delays and commands over a simulated machine: their time, their limits, their ends.
#include <gtest/gtest.h>

#include <mutex>
#include <vector>

#include "host/base/fw_Container.h"
#include "host/base/ut_Waiter.h"
#include "host/machine/SimulatedPlatform.h"
#include "support/LogCapture.h"

namespace {

constexpr std::int64_t second = 1000000;

class Simulation : public testing::Test {
 protected:
  platform::SimulatedPlatform machine;
};

TEST_F(Simulation, ADelayTakesItsTime) {
  taskDelay(50);
  EXPECT_EQ(machine.elapsed(), 50 * 10000);
}

TEST_F(Simulation, AnEarlySignalEndsTheNextWaitAndAnEmptyWaitIsASecond) {
  utility::Waiter waiter;
  const std::lock_guard lock(waiter);
  waiter.signal();
  waiter.wait(60);
  EXPECT_EQ(machine.elapsed(), 0);
  for (const int seconds : {0, -1}) waiter.wait(seconds);
  EXPECT_EQ(machine.elapsed(), 2 * second);
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

TEST_F(Simulation, BackgroundCommandsOfOneInitScriptTakeTurns) {
  const test::LogCapture log;
  const struct {
    const char* line;
    const char* queue;
  } rows[] = {{"/app/etc/init.d/webS start &", "/app/etc/init.d/webS"},
              {"/app/etc/init.d/webS start", "none"},
              {"/app/etc/getweblogs &", "none"},
              {"killall -9 web &", "none"}};
  for (const auto& row : rows) {
    std::string queue;
    machine.onCommand("", [&](const platform::Command& command) {
      queue = command.queue == nullptr ? "none" : command.queue;
      if (command.queue == nullptr) return platform::Result{};
      EXPECT_EQ(command.limit, 30 * second);
      command.tell(platform::Outcome::TimedOut, "x");
      command.tell(platform::Outcome::NotStarted, "y");
      return platform::Result{};
    });
    framework::Container::spawn(row.line, nullptr, nullptr);
    EXPECT_EQ(queue, row.queue) << row.line;
  }
  EXPECT_EQ(log.count("warning host: command still runs after 30 s, the next one begins: x"), 1);
  EXPECT_EQ(log.count("error   host: command could not be started: y"), 1);
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
