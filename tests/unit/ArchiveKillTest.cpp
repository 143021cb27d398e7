// The manifests under kill -9 at any moment: no listed file is lost and no line is torn.
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <set>

#include "app/app_AppFileLogger.h"
#include "support/Killed.h"
#include "support/SysInfoSetting.h"
#include "support/Temporary.h"

namespace services::app {
namespace {

constexpr const char* manifest = "logArchive.manifest";
const std::string archived = "archived";
constexpr unsigned int fileSize = 100;

std::string fileOf(int number) { return "/log/" + std::to_string(number); }

// What the log-migration daemon does, in one step, so that what is torn is the service's: takes
// what the manifest lists.
void consume(const test::Temporary& directory, int number) {
  ::rename(directory.path(manifest).c_str(),
           directory.path(archived + std::to_string(number)).c_str());
}

// Lists files for ever and says the number of each that was listed. The manifest is handed over at
// every third and consumed at every seventh file.
[[noreturn]] void listFiles(const test::Temporary& directory, int first, int said) {
  framework::Logger::setLevel(framework::LogType::Error);
  AppFileLogger logger("AppFileLogger", nullptr);
  const std::string path = directory.path("");
  for (int number = first;; ++number) {
    if (logger.addLogFileToArchive(fileOf(number).c_str(), path.c_str(), fileSize) != 0) ::_exit(1);
    test::say(said, number);
    if (number % 7 == 0 && directory.has(manifest)) consume(directory, number);
  }
}

TEST(ArchiveKill, LosesAndTearsNothing) {
  const test::Temporary directory;
  const test::SysInfoSetting sysInfo({}, {{"ManagedLogsEnable", true}});
  framework::Config config;
  config.set("AppFileLogger.directory", {.value = directory.path("")});
  config.set("AppFileLogger.archiveMigrationThreshold", {.value = 2L * fileSize});
  framework::Config::setConfig(config);
  std::minstd_rand random(1);
  int last = 0;
  for (int kills = 0; kills < 100; ++kills) {
    const auto moment = static_cast<unsigned int>(random() % 3000);
    last = test::runAndKill(last, moment, [&](int end) { listFiles(directory, last + 1, end); });
  }
  std::set<std::string> listed;
  for (const auto& entry : std::filesystem::directory_iterator(directory.path(""))) {
    std::ifstream lines(entry.path());
    // What a kill leaves without a line end is not listed; the next start takes it away.
    for (std::string line; std::getline(lines, line) && !lines.eof();) listed.insert(line);
  }
  for (int number = 1; number <= last; ++number) {
    EXPECT_TRUE(listed.erase(fileOf(number)) == 1) << fileOf(number) << " is lost";
  }
  // A line that nobody asked for would be a torn one; the last file may be listed and not said.
  listed.erase(fileOf(last + 1));
  EXPECT_TRUE(listed.empty()) << *listed.begin();
  RecordProperty("files", last);
}

}  // namespace
}  // namespace services::app
