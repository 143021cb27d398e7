// The archive logger: its two states, its limits, what failures and restarts leave; and the file
// logger beneath it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "app/app_AppFileLogger.h"
#include "support/SimulatedController.h"
#include "support/SysInfoSetting.h"
#include "support/Temporary.h"

namespace services::app {
namespace {

using test::SysInfoSetting;
using testing::ElementsAre;

constexpr const char* directory = "/var/log/";
constexpr const char* manifest = "/var/log/logArchive.manifest";
constexpr const char* working = "/var/log/logArchive.manifest.working";
constexpr unsigned int threshold = 204800;
constexpr unsigned int maxSize = 2048000;
constexpr int migratorPid = 70;

// The configuration of a logger that writes to the directory.
framework::Config loggerConfig(const std::map<std::string, long>& numbers, bool archive = true) {
  framework::Config config;
  config.set("AppFileLogger.directory", {.value = std::string(directory)});
  config.set("AppFileLogger.archive", {.value = archive});
  for (const auto& [key, number] : numbers) config.set("AppFileLogger." + key, {.value = number});
  return config;
}

class Archive : public testing::Test {
 protected:
  Archive() {
    controller.addProcess(migratorPid, "/app/bin/logmigrated");
    controller.build();
    controller.runUntil(1);
    framework::Config::setConfig(loggerConfig({}));
    restart();
  }

  // A new process: the manifests stay, the state goes.
  void restart() { logger = std::make_unique<AppFileLogger>("AppFileLogger", nullptr); }

  // Lists the file of that number; answers as the logger does.
  int add(int number, unsigned int size) {
    const std::string file = "/log" + std::to_string(number);
    return logger->addLogFileToArchive(file.c_str(), directory, size);
  }

  // What the log-migration daemon does when it is done.
  void consume() const { std::filesystem::remove(controller.machine.root() + manifest); }

  // The events that the daemon was sent.
  std::vector<int> sent() const {
    std::vector<int> events;
    for (const auto& signal : controller.machine.signals()) {
      EXPECT_EQ(signal.pid, migratorPid);
      events.push_back(signal.value);
    }
    return events;
  }

  test::SimulatedController controller{{"other", "logmigrated"}, 0};
  const SysInfoSetting sysInfo{{}, {{"ManagedLogsEnable", true}}};
  std::unique_ptr<AppFileLogger> logger;
};

constexpr int mc1 = strings::tGSlogMigrationMc1;
constexpr int mc3 = strings::tGSlogMigrationMc3;

TEST_F(Archive, HandsOverAboveTheThresholdAndWaitsUntilThatIsConsumed) {
  EXPECT_EQ(add(1, threshold), 0);
  EXPECT_FALSE(controller.hasFile(manifest)) << "exactly the threshold";
  EXPECT_EQ(add(2, 1), 0);
  EXPECT_EQ(controller.readFile(manifest), "/log1\n/log2\n");
  EXPECT_FALSE(controller.hasFile(working));
  EXPECT_THAT(sent(), ElementsAre(mc1));

  add(3, threshold);
  add(4, threshold);
  EXPECT_EQ(controller.readFile(manifest), "/log1\n/log2\n") << "it waits";
  EXPECT_EQ(controller.readFile(working), "/log3\n/log4\n");
  EXPECT_THAT(sent(), ElementsAre(mc1));

  consume();
  add(5, 0);
  EXPECT_EQ(controller.readFile(manifest), "/log3\n/log4\n/log5\n") << "at once";
  EXPECT_THAT(sent(), ElementsAre(mc1, mc1));

  consume();
  add(6, threshold);
  EXPECT_FALSE(controller.hasFile(manifest)) << "the working total began anew";
  EXPECT_EQ(controller.readFile(working), "/log6\n");
}

TEST_F(Archive, RaisesTheAlarmOnceUntilAHandOverIsConsumed) {
  const auto alarms = [&] {
    return controller.log.count("Managed logs archive file size exceeded");
  };
  add(1, threshold + 1);
  add(2, maxSize - threshold - 1);
  EXPECT_EQ(alarms(), 0) << "exactly the maximum";
  add(3, 1);
  EXPECT_EQ(alarms(), 1);
  add(4, maxSize);
  EXPECT_EQ(alarms(), 1);
  EXPECT_THAT(sent(), ElementsAre(mc1, mc3));
  consume();
  add(5, 1);
  EXPECT_EQ(alarms(), 2) << "armed again, and the rest is still above";
  EXPECT_THAT(sent(), ElementsAre(mc1, mc3, mc1, mc3));
  consume();
  add(6, 1);
  EXPECT_EQ(alarms(), 2) << "nothing but this is left";
}

TEST_F(Archive, DoesNothingWhileManagedLogsAreDisabledOrUnknown) {
  {
    const SysInfoSetting disabled({}, {{"ManagedLogsEnable", false}});
    EXPECT_EQ(add(1, maxSize), 0);
    EXPECT_TRUE(controller.log.has("Managed Logs not enabled."));
  }
  EXPECT_EQ(add(1, maxSize), -1);
  EXPECT_TRUE(controller.log.has("Could not get pSysinfo."));
  EXPECT_FALSE(controller.hasFile(working));
  EXPECT_THAT(sent(), ElementsAre());
}

TEST_F(Archive, DoesNotCountAFileThatItCannotList) {
  std::filesystem::create_directory(controller.machine.root() + working);
  EXPECT_EQ(add(1, threshold), -1);
  EXPECT_TRUE(controller.log.has(std::string("Could not open working manifest file: ") + working));
  std::filesystem::remove(controller.machine.root() + working);
  EXPECT_EQ(add(2, threshold), 0);
  EXPECT_FALSE(controller.hasFile(manifest));
  EXPECT_EQ(controller.readFile(working), "/log2\n");
}

TEST_F(Archive, CutsOffTheHalfLineThatAKillLeft) {
  const std::pair<const char*, const char*> rows[] = {
      {"/log1\n/lo", "/log1\n/log2\n"}, {"/lo", "/log2\n"}, {"/log1\n", "/log1\n/log2\n"}};
  for (const auto& [before, after] : rows) {
    controller.writeFile(working, before);
    EXPECT_EQ(add(2, 1), 0);
    EXPECT_EQ(controller.readFile(working), after);
  }
}

TEST_F(Archive, KeepsTheManifestsAndForgetsTheTotalsOverARestart) {
  add(1, threshold);
  restart();
  add(2, threshold);
  EXPECT_EQ(controller.readFile(working), "/log1\n/log2\n");
  add(3, 1);
  EXPECT_EQ(controller.readFile(manifest), "/log1\n/log2\n/log3\n");
  restart();
  add(4, threshold + 1);
  EXPECT_EQ(controller.readFile(manifest), "/log1\n/log2\n/log3\n") << "not yet consumed";
  EXPECT_EQ(controller.readFile(working), "/log4\n");
  EXPECT_THAT(sent(), ElementsAre(mc1, mc1)) << "sent again for the manifest from before";
  add(5, 1);
  EXPECT_THAT(sent(), ElementsAre(mc1, mc1)) << "it waits now";
  consume();
  add(6, 1);
  EXPECT_EQ(controller.readFile(manifest), "/log4\n/log5\n/log6\n");
  EXPECT_THAT(sent(), ElementsAre(mc1, mc1, mc1));
}

// A machine where nothing can be moved to the manifest, and none is seen.
class NoManifest : public platform::SimulatedPlatform {
 public:
  const char* locate(const char* path, char* buffer, std::size_t size) override {
    const bool hidden = std::string(path) == manifest;
    return SimulatedPlatform::locate(hidden ? "/none/manifest" : path, buffer, size);
  }
};

TEST(ArchiveFailure, KeepsTheWorkingManifestWhenItCannotBeMoved) {
  NoManifest machine;
  const test::LogCapture log;
  std::filesystem::create_directories(machine.root() + directory);
  const SysInfoSetting sysInfo({}, {{"ManagedLogsEnable", true}});
  framework::Config::setConfig(loggerConfig({{"archiveMigrationThreshold", 10}}));
  AppFileLogger logger("AppFileLogger", nullptr);
  EXPECT_EQ(logger.addLogFileToArchive("/log1", directory, 11), 0);
  EXPECT_EQ(logger.addLogFileToArchive("/log2", directory, 1), 0);
  EXPECT_EQ(std::filesystem::file_size(machine.root() + working), 12U);
  EXPECT_EQ(log.count("archive file moved, rc = -1"), 2) << "it is tried again";
  EXPECT_FALSE(log.has("no supervision service to send"));
  EXPECT_EQ(logger.addLogFileToArchive("/log3", directory, maxSize), 0);
  EXPECT_EQ(log.count("no supervision service to send logMigrationMc3"), 1);
}

class FileLog : public testing::Test {
 protected:
  static void take(framework::FileLogger& logger, const std::string& line) {
    logger.takeLine(framework::LogType::Info, line.data(), line.size());
  }
  std::string read(const std::string& name) const { return controller.readFile(directory + name); }

  test::SimulatedController controller;
};

TEST_F(FileLog, MovesFullFilesAsideAndKeepsTheLatest) {
  framework::Config::setConfig(loggerConfig({{"maxSize", 100}, {"keep", 2}}));
  controller.writeFile("/var/log/mc.log.000007", "from before");
  controller.writeFile("/var/log/mc.log", std::string(50, 'o'));
  framework::FileLogger logger("AppFileLogger", nullptr);
  take(logger, std::string(49, 'a'));
  EXPECT_EQ(read("mc.log").size(), 99U);
  take(logger, "b");
  EXPECT_EQ(read("mc.log.000008"), std::string(50, 'o') + std::string(49, 'a') + "b");
  EXPECT_EQ(read("mc.log"), "");
  EXPECT_EQ(read("mc.log.000007"), "from before");
  take(logger, std::string(150, 'c'));
  EXPECT_EQ(read("mc.log.000009"), std::string(150, 'c'));
  EXPECT_EQ(read("mc.log.000008").size(), 100U);
  EXPECT_EQ(read("mc.log.000007"), "") << "beyond the number kept";
}

TEST_F(FileLog, TriesAgainOnlyAfterAsMuchMoreWhenAFileCannotBeMoved) {
  framework::Config::setConfig(loggerConfig({{"maxSize", 100}}));
  framework::FileLogger logger("AppFileLogger", nullptr);
  std::filesystem::create_directory(controller.machine.root() + "/var/log/mc.log.000001");
  take(logger, std::string(100, 'a'));
  take(logger, std::string(99, 'b'));
  EXPECT_EQ(controller.log.count("log file /var/log/mc.log cannot be moved"), 1);
  take(logger, "c");
  EXPECT_EQ(read("mc.log.000002"), std::string(100, 'a') + std::string(99, 'b') + "c");
}

TEST_F(FileLog, NeitherAFullDiskNorADatedCopyPushesFilesOut) {
  framework::Config::setConfig(loggerConfig({{"maxSize", 100}, {"keep", 3}}));
  const std::string line(60, 'a');
  controller.writeFile("/var/log/mc.log.000007", "old");
  controller.writeFile("/var/log/mc.log.20261122", "copy");
  framework::FileLogger logger("AppFileLogger", nullptr);
  {
    const test::Limit full(RLIMIT_FSIZE, 100);
    for (int i = 0; i < 4; ++i) take(logger, line);
  }
  EXPECT_EQ(read("mc.log"), line) << "whole lines, and the file is not full";
  take(logger, line);
  EXPECT_EQ(read("mc.log.20261123"), line + line);
  EXPECT_EQ(read("mc.log.000007"), "old") << "three are kept";
}

TEST_F(FileLog, ListsWhatIsMovedWhenThePropertySaysSo) {
  const SysInfoSetting sysInfo({}, {{"ManagedLogsEnable", true}});
  for (const bool archive : {false, true}) {
    framework::Config::setConfig(
        loggerConfig({{"maxSize", 10}, {"archiveMigrationThreshold", 19}}, archive));
    AppFileLogger logger("AppFileLogger", nullptr);
    take(logger, "0123456789");
    EXPECT_EQ(controller.readFile(working), archive ? "/var/log/mc.log.000003\n" : "");
    take(logger, "0123456789");
    EXPECT_EQ(controller.readFile(manifest),
              archive ? "/var/log/mc.log.000003\n/var/log/mc.log.000004\n" : "");
    EXPECT_EQ(logger.migrateFile("/var/log/none", "/var/log/d", true), -1);
    EXPECT_FALSE(controller.hasFile(working));
  }
}

}  // namespace
}  // namespace services::app
