// Memory tracking over simulated time: the samples, their clocks, the summary's figures, the
// limits.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "support/Printed.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

using test::SimulatedController;
using testing::ElementsAre;
using Texts = std::vector<std::string>;

constexpr const char* summary = "/proc/meminfo";
constexpr const char* header =
    "timeStamp,totalBytes,usedBytes,freeBytes,extraBytes,sysBytesFree,sysPercentFree";
constexpr unsigned int ringSize = 1440;

// The lines of the save track.
Texts track(const AppManager& manager) {
  std::istringstream stream(test::printed([&](auto& out) { manager.dumpMemSaveTrack(out); }));
  Texts lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// The times of the samples as hours, minutes and seconds; the simulated start is 22:13:20.
Texts times(const AppManager& manager) {
  Texts all;
  const Texts lines = track(manager);
  for (std::size_t i = 1; i < lines.size(); ++i) all.push_back(lines[i].substr(11, 8));
  return all;
}

// The line of the report that shows the snapshot.
std::string snapshot(const AppManager& manager) {
  const auto text = test::printed([&](auto& out) { manager.information(out, 0, false); });
  return text.substr(text.find("MEM: "));
}

TEST(SaveTrack, FortyEightHoursFillTheRingAndTheNextSampleReplacesTheOldest) {
  SimulatedController controller({}, 120);
  controller.writeFile(summary, "MemTotal: 1000 kB\nMemFree: 250 kB\n");
  AppManager& manager = controller.build();
  EXPECT_THAT(track(manager), ElementsAre(header));
  constexpr int last = (ringSize - 1) * 120;  // the sample that fills the ring
  controller.at(last - 1, [&] { EXPECT_EQ(track(manager).size(), ringSize); });
  controller.at(last + 1, [&] {
    const Texts lines = track(manager);
    ASSERT_EQ(lines.size(), ringSize + 1);
    EXPECT_TRUE(std::regex_match(
        lines[1], std::regex("2023-11-14T22:13:20Z,[0-9]+,[0-9]+,[0-9]+,[0-9]+,250,25")));
    EXPECT_EQ(lines[ringSize].substr(0, 20), "2023-11-16T22:11:20Z");
  });
  controller.at(last + 121, [&] {
    const Texts lines = track(manager);
    ASSERT_EQ(lines.size(), ringSize + 1);
    EXPECT_EQ(lines[1].substr(0, 20), "2023-11-14T22:15:20Z");
    EXPECT_EQ(lines[ringSize].substr(0, 20), "2023-11-16T22:13:20Z");
    EXPECT_TRUE(std::is_sorted(lines.begin() + 1, lines.end()));
    manager.clearMemSaveTrack();
    EXPECT_THAT(track(manager), ElementsAre(header));
  });
  controller.runUntil(last + 361);
  EXPECT_THAT(times(manager), ElementsAre("22:15:20", "22:17:20"));
}

TEST(SaveTrack, ASampleComesEvery120SecondsAndNotAfter119) {
  const struct {
    const char* name;
    int pollSeconds;
    Texts times;
  } rows[] = {
      {"119 seconds", 119, {"22:13:20", "22:17:18"}},
      {"120 seconds", 120, {"22:13:20", "22:15:20", "22:17:20"}},
      {"every second", 1, {"22:13:20", "22:15:20", "22:17:20"}},
  };
  for (const auto& row : rows) {
    SimulatedController controller({}, row.pollSeconds);
    AppManager& manager = controller.build();
    controller.runUntil(300);
    EXPECT_EQ(times(manager), row.times) << row.name;
  }
}

TEST(Snapshot, IsTakenEvery120SecondsAndBeforeItsSample) {
  SimulatedController controller({}, 1);
  controller.writeFile(summary, "MemTotal: 100 kB\nMemFree: 30 kB\n");
  AppManager& manager = controller.build();
  controller.at(1, [&] { controller.writeFile(summary, "MemTotal: 100 kB\nMemFree: 40 kB\n"); });
  controller.at(120, [&] { EXPECT_TRUE(snapshot(manager).starts_with("MEM: F/30 kb (30%)")); });
  controller.runUntil(122);
  EXPECT_TRUE(snapshot(manager).starts_with("MEM: F/40 kb (40%)"));
  EXPECT_TRUE(track(manager).at(1).ends_with(",30,30"));
  EXPECT_TRUE(track(manager).at(2).ends_with(",40,40"));
}

TEST(Snapshot, TakesWhatTheSummaryHas) {
  const std::string all =
      "MemTotal:     2000 kB\nMemFree:       500 kB\nBuffers:        60 kB\n"
      "Cached:        399 kB\nSwapCached:      7 kB\nAnonPages:      20 kB\n";
  const struct {
    const char* name;
    std::string text;
    const char* line;
  } rows[] = {
      {"whole", all, "MEM: F/500 kb (25%), C/399 kb (19%), B/60 kb (3%), A/20 kb (1%)\n"},
      {"no total keeps the percentages", "MemFree: 3 kB\nCached:\t4 kB",
       "MEM: F/3 kb (2%), C/0 kb (2%), B/0 kb (2%), A/0 kb (2%)\n"},
      {"total of 0", "MemTotal: 0 kB\nCached: 9 kB",
       "MEM: F/0 kb (2%), C/9 kb (2%), B/0 kb (2%), A/0 kb (2%)\n"},
      {"empty", "", "MEM: F/2 kb (2%), C/2 kb (2%), B/2 kb (2%), A/2 kb (2%)\n"},
      {"cut within a figure at 1024 bytes",
       "MemTotal: 100 kB\n" + std::string(994, 'x') + "MemFree: 123456 kB\nCached: 5 kB\n",
       "MEM: F/1234 kb (1234%), C/0 kb (0%), B/0 kb (0%), A/0 kb (0%)\n"},
      {"percentages wrap at 32 bits", "MemTotal: 3 kB\nMemFree: 42949673 kB\n",
       "MEM: F/42949673 kb (1%), C/0 kb (0%), B/0 kb (0%), A/0 kb (0%)\n"},
  };
  for (const auto& row : rows) {
    SimulatedController controller({}, 120);
    controller.writeFile(summary,
                         "MemTotal: 100\nMemFree: 2\nCached: 2\nBuffers: 2\nAnonPages: 2\n");
    AppManager& manager = controller.build();
    controller.at(60, [&] { controller.writeFile(summary, row.text); });
    controller.runUntil(121);
    EXPECT_EQ(snapshot(manager), row.line) << row.name;
  }
}

TEST(ExtractValue, CopiesWhatFollowsTheKey) {
  const struct {
    const char* name;
    const char* text;
    unsigned int size;
    const char* value;
  } rows[] = {
      {"blanks are skipped", "Key:   12 kB\n", 8, "12"},
      {"a tab is not, it ends the value", "Key:\t12", 8, ""},
      {"up to a tab", "Key: 12\tkB", 8, "12"},
      {"up to a line end", "Key:12\nKey:13", 8, "12"},
      {"up to a carriage return", "Key: 12\r\n", 8, "12"},
      {"up to the end", "x Key: 12", 8, "12"},
      {"nothing behind the key", "Key:", 8, ""},
      {"no key", "Kex: 12", 8, ""},
      {"first occurrence", "OtherKey: 1\nKey: 2\n", 8, "1"},
      {"cut", "Key: 1234567", 4, "123"},
      {"just fits", "Key: 123", 4, "123"},
      {"no room", "Key: 123", 1, ""},
  };
  for (const auto& row : rows) {
    std::array<char, 8> value;
    value.fill('#');
    AppManager::extractValue(row.text, "Key:", value.data(), row.size);
    EXPECT_STREQ(value.data(), row.value) << row.name;
  }
}

struct LimitRow {
  const char* name;
  bool enabled;
  int cachedKb;
  int sfcbds;
  int migratorKb;
  int otherKb;
  const char* restarted;  // the daemon, or empty
  bool warned;
};

class Limits : public testing::TestWithParam<LimitRow> {
 protected:
  void addSized(int pid, const char* program, int kilobytes) {
    controller.addProcess(pid, program);
    controller.writeFile("/proc/" + std::to_string(pid) + "/status",
                         "Name:\tx\nRssAnon:\t" + std::to_string(kilobytes) + " kB\n");
  }

  SimulatedController controller{{"other", "sfcbd/sfcbd", "logmigrated"}, 10};
};

constexpr const char* exceeded = "MEM: DATA SIZE THRESHOLD EXCEEDED: ";
constexpr const char* tooMany = "MEM: MAX INSTANCES REACHED: restarting sfcbd";

TEST_P(Limits, RestartTheFirstThatIsOver) {
  const LimitRow& row = GetParam();
  controller.setBool("doMemLimitChecking", row.enabled);
  controller.writeFile(summary, "MemTotal: 9\nCached: " + std::to_string(row.cachedKb) + " kB\n");
  addSized(50, "/bin/other", row.otherKb);
  addSized(51, "/bin/logmigrated", row.migratorKb);
  for (int i = 0; i < row.sfcbds; ++i) addSized(60 + i, "/bin/sfcbd", 50000);
  // The size is said before the restart, the number of instances after it.
  for (const char* daemon : {"other", "logmigrated"}) {
    controller.onInit(daemon, "restart", [&] { EXPECT_TRUE(controller.log.has(exceeded)); });
  }
  controller.onInit("sfcbd", "restart", [&] { EXPECT_FALSE(controller.log.has(tooMany)); });
  controller.build();
  controller.runUntil(5);
  const std::string daemon = row.restarted;
  EXPECT_EQ(controller.commandLines(),
            daemon.empty() ? Texts{} : Texts{"/app/etc/init.d/" + daemon + "S restart &"});
  EXPECT_EQ(controller.log.has("MEM: VM page cache low, finding proces to restart"), row.warned);
  EXPECT_EQ(controller.log.has(tooMany), daemon == "sfcbd");
  EXPECT_EQ(controller.log.has(exceeded + std::string("other (1048577/1048576) - restarting ...")),
            daemon == "other");
  EXPECT_EQ(controller.log.has(exceeded + std::string("logmigrated (25001/25000) - restarting")),
            daemon == "logmigrated");
}

INSTANTIATE_TEST_SUITE_P(
    Table, Limits,
    testing::Values(LimitRow{"Off", false, 0, 27, 25001, 0, "", false},
                    LimitRow{"CacheAtItsMark", true, 13000, 27, 25001, 0, "", false},
                    LimitRow{"CacheBelowAndNoneOver", true, 12999, 0, 0, 0, "", true},
                    LimitRow{"AllAtTheirLimits", true, 12999, 26, 25000, 1048576, "", true},
                    LimitRow{"MigratorOneOver", true, 12999, 26, 25001, 0, "logmigrated", true},
                    LimitRow{"SfcbdOneMore", true, 12999, 27, 25000, 0, "sfcbd", true},
                    LimitRow{"FirstOfTwo", true, 12999, 27, 25001, 0, "sfcbd", true},
                    LimitRow{"DaemonWithoutRow", true, 0, 27, 25001, 1048577, "other", true}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace services::app
