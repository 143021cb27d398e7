// Delays and commands over a simulated machine: their time, their limits, their ends.

#include "host/base/fw_Container.h"
#include "host/base/ut_Waiter.h"
#include "host/machine/SimulatedPlatform.h"
#include "host/service/fw_Watchdog.h"
#include "support/Test.h"

namespace {

using test::second;

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
  const std::pair<const char*, const char*> rows[] = {
      {"/app/etc/init.d/webS start &", "/app/etc/init.d/webS"},
      {"/app/etc/init.d/webS start", "none"},
      {"/app/etc/getweblogs &", "none"},
      {"killall -9 web &", "none"}};
  for (const auto& [line, expected] : rows) {
    std::string queue;
    machine.onCommand("", [&](const platform::Command& command) {
      queue = command.queue == nullptr ? "none" : command.queue;
      EXPECT_EQ(command.limit, (command.detached ? 30 : 60) * second);
      return platform::Result{};
    });
    framework::Container::spawn(line, nullptr, nullptr);
    EXPECT_EQ(queue, expected) << line;
  }
}

// Of a command that is run for a daemon; of others only that they could not be started.
TEST_F(Simulation, WhatBecomesOfADaemonsCommandIsToldAndWarnedOf) {
  using Fault = framework::Container::Fault;
  using Stage = utility::CommandOutcome::Stage;
  const auto fine = Fault::Status;
  const struct {
    utility::CommandOutcome outcome;
    Fault fault;
    const char* line;  // of the log; null: none
  } rows[] = {
      {{.stage = Stage::Exited, .error = "note"}, fine, nullptr},
      {{.stage = Stage::Exited, .took = 250000, .error = "no relay"},
       Fault::StandardError,
       "warning host: command exit status 0 after 0.2 s: no relay: x &"},
      {{.stage = Stage::Exited, .value = 3, .took = 2000000},
       fine,
       "warning host: command exit status 3 after 2.0 s: x &"},
      {{.stage = Stage::Signalled, .value = 9, .error = "last words"},
       fine,
       "warning host: command ended by signal 9 after 0.0 s: last words: x &"},
      {{.stage = Stage::Running, .took = 30000000},
       fine,
       "warning host: command still runs after 30.0 s: x &"},
      {{.stage = Stage::Waiting}, fine, "warning host: command waits, very many run: x &"},
      {{.stage = Stage::NotStarted}, fine, "error   host: command could not be started: x"},
  };
  for (const auto& row : rows) {
    const test::LogCapture log;
    machine.onCommand("x", [&](const platform::Command& command) {
      command.told(row.outcome);
      return platform::Result{};
    });
    std::vector<std::string> told;
    framework::Container::spawnFor("x &", row.fault,
                                   [&](const auto& outcome) { told.push_back(outcome.text()); });
    EXPECT_EQ(told, (std::vector<std::string>{row.outcome.text(), "exit status 0 after 0.0 s"}));
    EXPECT_EQ(log.count(" host: "), row.line == nullptr ? 0 : 1) << row.outcome.text();
    EXPECT_TRUE(row.line == nullptr || log.has(row.line)) << row.line;
    framework::Container::spawn("x &", nullptr, nullptr);
    EXPECT_EQ(log.count(" host: "),
              (row.line != nullptr) + (row.outcome.stage == Stage::NotStarted));
  }
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

std::vector<std::string> notified;

TEST_F(Simulation, AThreadThatHangsIsAnErrorLineAndItsReturnAWarning) {
  using framework::Watchdog;
  const test::LogCapture log;
  const auto looksIn = [&](std::int64_t microseconds) {
    machine.pass(microseconds);
    return Watchdog::look();
  };
  framework::Container::setCommandLimit(60);
  Watchdog::setNotify([](const char* state) { notified.emplace_back(state); });
  Watchdog::begin("the cycle", 10);
  EXPECT_EQ(looksIn(0), 210 * second);
  EXPECT_EQ(looksIn(209 * second), second);
  Watchdog::beat();
  EXPECT_EQ(looksIn(210 * second - 1), 1);
  EXPECT_EQ(log.count("host: "), 0);
  EXPECT_EQ(looksIn(1), 70 * second);
  looksIn(70 * second);
  EXPECT_EQ(log.count("error   host: the cycle hangs: it has not come round for 210 s"), 1);
  Watchdog::beat();
  looksIn(0);
  EXPECT_EQ(log.count("warning host: the cycle goes on"), 1);
  Watchdog::end();
  looksIn(1000 * second);
  EXPECT_EQ(log.count("host: "), 2);
  EXPECT_EQ(notified,
            (std::vector<std::string>{"WATCHDOG_USEC=280000000", "WATCHDOG=1", "WATCHDOG=1"}));
  Watchdog::setNotify(nullptr);
}

}  // namespace
