// The supervision record: matching, commands, scan protocol, totals, report.
#include "app/app_Process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "host/framework/st_StringRepository.h"
#include "support/Printed.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

std::string report(const Process& process, int indentation = 0) {
  return test::printed([&](auto& out) { process.information(out, indentation, false); });
}

strings::stringtoken token(const char* name) { return strings::GS.toToken(name); }

// One scan that finds these pids.
void scan(Process& process, const std::vector<int>& pids) {
  process.startScan();
  for (const int pid : pids) process.addInstance(pid);
  process.endScan();
}

TEST(Process, MatchesByNameOrPattern) {
  const struct {
    const char* name;
    const char* pattern;  // null: by name
    const char* baseName;
    const char* commandLine;
    bool expected;
  } rows[] = {
      {"by name", nullptr, "web", "/app/bin/web -d", true},
      {"longer name", nullptr, "web2", "/app/bin/web2", false},
      {"shorter name", nullptr, "we", "we", false},
      {"other case", nullptr, "Web", "Web", false},
      {"kernel thread", nullptr, "", "", false},
      {"over arguments", "sh .*/web --port [0-9]+$", "sh", "/bin/sh /app/web --port 80", true},
      {"pattern, not base name", "^other$", "web", "/app/bin/web", false},
      {"empty pattern matches all", "", "anything", "anything", true},
      {"broken pattern falls back to the name", "(", "web", "/app/bin/web", true},
      {"broken pattern, other name", "(", "other", "web", false},
  };
  for (const auto& row : rows) {
    const Process process(token("web"), false, row.pattern);
    EXPECT_EQ(process.match(row.baseName, row.commandLine), row.expected) << row.name;
  }
}

TEST(Process, SaysOnceThatAPatternDoesNotCompile) {
  const test::LogCapture log;
  const Process process(token("web"), false, "a(");
  process.match("x", "x");
  EXPECT_EQ(log.count("pattern: [a(]"), 1);
  EXPECT_EQ(log.count("Failure to compile regular expression for web: a("), 1);
}

TEST(Process, RunsItsControlCommands) {
  const test::SimulatedController controller;
  Process process(token("snmpd"), false, nullptr);
  process.start();
  process.stop();
  EXPECT_FALSE(process.getRestarting());
  process.restart();
  EXPECT_TRUE(process.getRestarting());
  process.control("kill", "snmpd");
  EXPECT_EQ(
      controller.commandLines(),
      (std::vector<std::string>{"/app/etc/init.d/snmpdS start &", "/app/etc/init.d/snmpdS stop &",
                                "/app/etc/init.d/snmpdS restart &", "killall -9 snmpd"}));
}

TEST(Process, KeepsAtMostThirtyInstances) {
  Process process(token("web"), false, nullptr);
  process.startScan();
  for (int pid = 101; pid <= 131; ++pid) process.addInstance(pid);
  process.addInstance(101);
  process.endScan();
  EXPECT_EQ(process.numInstances(), 30);
  EXPECT_EQ(process.getPid(29), 130);
  EXPECT_EQ(process.getPid(30), -1);
}

TEST(Process, ForgetsNeighboursThatDiedAndKeepsTheOrder) {
  Process process(token("web"), false, nullptr);
  scan(process, {1, 2, 3, 4, 5, 6});
  scan(process, {7, 6, 2});
  std::array<char, 32> pids;
  EXPECT_STREQ(process.getInstanceInfo(pids.data(), 32), "2,6,7");
  EXPECT_STREQ(process.getInstanceInfo(pids.data(), 3), "2") << "whole pids only";
  process.startScan();
  EXPECT_STREQ(process.getInstanceInfo(pids.data(), 32), "");
}

TEST(Process, MeasuresItsInstances) {
  Process process(token("self"), false, nullptr);
  constexpr int none = 0x7ffffff0;  // no such process
  scan(process, {::getpid(), none});
  EXPECT_EQ(process.getDataSize(), 0U);
  process.updateInfo();
  const unsigned int alone = process.getDataSize();
  EXPECT_GT(alone, 100U);
  process.updateInfo();
  EXPECT_LT(process.getDataSize(), 2 * alone) << "totals must not add up over measurements";
  scan(process, {none});
  EXPECT_EQ(process.getDataSize(), 0U);
}

TEST(Process, KnowsANewGeneration) {
  const platform::SimulatedPlatform machine;
  Process process(token("web"), false, nullptr);
  scan(process, {10, 11});
  process.restart();
  EXPECT_FALSE(process.isNewGeneration());
  scan(process, {11, 12});
  EXPECT_FALSE(process.isNewGeneration());
  scan(process, {12});
  EXPECT_TRUE(process.isNewGeneration());
}

TEST(Process, Reports) {
  platform::SimulatedPlatform machine;
  Process process(token("web"), true, nullptr);
  process.setState(Process::Down);
  machine.pass(7 * test::second);
  EXPECT_EQ(report(process),
            "web           : Down       (    0), suspend: true , last transition:      7, "
            "code      0 kb data:      0 kb shared      0 kb\n");
  process.setState(Process::Down);
  process.setSuspend(false);
  scan(process, {42});
  EXPECT_EQ(report(process, 2),
            "  web           : Down       (   42), suspend: false, last transition:      0, "
            "code      0 kb data:      0 kb shared      0 kb\n");
  process.addInstance(43);
  EXPECT_EQ(report(process, 2),
            "  web           : Down       (    0), suspend: false, last transition:      0, "
            "code      0 kb data:      0 kb shared      0 kb\n"
            "      (   42), code:      0 kb data:      0 kb shared:      0 kb\n"
            "      (   43), code:      0 kb data:      0 kb shared:      0 kb\n");
}

TEST(Process, WritesDebugLinesOnlyWithItsFlag) {
  const platform::SimulatedPlatform machine;
  const test::LogCapture log;
  Process process(token("web"), false, nullptr);
  process.setState(Process::Up);
  const test::DebugLines debug(strings::token<"Process">);
  process.setState(Process::Down);
  process.stop();
  EXPECT_EQ(log.count("from: "), 1);
  EXPECT_TRUE(log.has("web: from: Up to Down"));
  EXPECT_TRUE(log.has("/app/etc/init.d/webS stop &"));
}

}  // namespace
}  // namespace services::app
