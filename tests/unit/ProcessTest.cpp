// The supervision record: matching, commands, scan protocol, totals, report.
#include "app/app_Process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "host/framework/st_StringRepository.h"
#include "host/framework/ut_Debug.h"
#include "support/SimulatedController.h"
#include "util/ut_BufferStream.h"

namespace services::app {
namespace {

std::string report(const Process& process, int indentation = 0) {
  std::array<char, 4096> text;
  utility::BufferStream stream(text.data(), static_cast<int>(text.size()), false);
  process.information(stream, indentation, false);
  return stream.pTail();
}

strings::stringtoken token(const char* name) { return strings::GS.toToken(name); }

struct MatchRow {
  const char* name;
  const char* pattern;  // null: by name
  const char* baseName;
  const char* commandLine;
  bool expected;
};

class Matching : public testing::TestWithParam<MatchRow> {};

TEST_P(Matching, OfDaemonWeb) {
  const MatchRow& row = GetParam();
  const Process process(token("web"), false, row.pattern);
  EXPECT_EQ(process.match(row.baseName, row.commandLine), row.expected);
}

constexpr MatchRow matchRows[] = {
    {"ByName", nullptr, "web", "/app/bin/web -d", true},
    {"ByNameLonger", nullptr, "web2", "/app/bin/web2", false},
    {"ByNameShorter", nullptr, "we", "we", false},
    {"ByNameOtherCase", nullptr, "Web", "Web", false},
    {"KernelThread", nullptr, "", "", false},
    {"PatternOverArguments", "sh .*/web --port [0-9]+$", "sh", "/bin/sh /app/web --port 80", true},
    {"PatternNotBaseName", "^other$", "web", "/app/bin/web", false},
    {"PatternEmptyMatchesAll", "", "anything", "anything", true},
    {"BrokenPatternFallsBackToName", "(", "web", "/app/bin/web", true},
    {"BrokenPatternOtherName", "(", "other", "web", false},
};

INSTANTIATE_TEST_SUITE_P(Table, Matching, testing::ValuesIn(matchRows),
                         [](const auto& row) { return row.param.name; });

TEST(Process, SaysOnceThatAPatternDoesNotCompile) {
  const test::LogCapture log;
  const Process process(token("web"), false, "a(");
  process.match("x", "x");
  EXPECT_EQ(log.count("pattern: [a(]"), 1);
  EXPECT_EQ(log.count("Failure to compile regular expression for web: a("), 1);
}

TEST(Process, RunsItsControlCommands) {
  platform::SimulatedPlatform machine;
  Process process(token("snmpd"), false, nullptr);
  process.start();
  process.stop();
  EXPECT_FALSE(process.getRestarting());
  process.restart();
  EXPECT_TRUE(process.getRestarting());
  process.control("kill", "snmpd");
  using Ran = platform::SimulatedPlatform::Ran;
  EXPECT_EQ(machine.commands(), (std::vector<Ran>{{0, "/app/etc/init.d/snmpdS start", true},
                                                  {0, "/app/etc/init.d/snmpdS stop", true},
                                                  {0, "/app/etc/init.d/snmpdS restart", true},
                                                  {0, "killall -9 snmpd", false}}));
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
  process.startScan();
  for (int pid = 1; pid <= 6; ++pid) process.addInstance(pid);
  process.endScan();
  process.startScan();
  for (const int pid : {7, 6, 2}) process.addInstance(pid);
  process.endScan();
  std::array<char, 32> pids;
  EXPECT_STREQ(process.getInstanceInfo(pids.data(), 32), "2,6,7");
  EXPECT_STREQ(process.getInstanceInfo(pids.data(), 4), "2,6");
  process.startScan();
  EXPECT_STREQ(process.getInstanceInfo(pids.data(), 32), "");
}

TEST(Process, MeasuresItsInstances) {
  Process process(token("self"), false, nullptr);
  process.startScan();
  process.addInstance(::getpid());
  process.addInstance(0x7ffffff0);  // no such process
  process.endScan();
  EXPECT_EQ(process.getDataSize(), 0U);
  process.updateInfo();
  const unsigned int alone = process.getDataSize();
  EXPECT_GT(alone, 100U);
  process.updateInfo();
  EXPECT_LT(process.getDataSize(), 2 * alone) << "totals must not add up over measurements";
  process.startScan();
  process.addInstance(0x7ffffff0);
  process.endScan();
  EXPECT_EQ(process.getDataSize(), 0U);
}

TEST(Process, KnowsANewGeneration) {
  const platform::SimulatedPlatform machine;
  Process process(token("web"), false, nullptr);
  const auto scan = [&](std::initializer_list<int> pids) {
    process.startScan();
    for (const int pid : pids) process.addInstance(pid);
    process.endScan();
  };
  scan({10, 11});
  process.restart();
  EXPECT_FALSE(process.isNewGeneration());
  scan({11, 12});
  EXPECT_FALSE(process.isNewGeneration());
  scan({12});
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
  process.startScan();
  process.addInstance(42);
  process.endScan();
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
  utility::Debug::setDebug(strings::tGSProcess, true);
  process.setState(Process::Down);
  process.stop();
  utility::Debug::setDebug(strings::tGSProcess, false);
  EXPECT_EQ(log.count("from: "), 1);
  EXPECT_TRUE(log.has("web: from: Up to Down"));
  EXPECT_TRUE(log.has("/app/etc/init.d/webS stop &"));
}

}  // namespace
}  // namespace services::app
