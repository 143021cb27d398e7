// The archive logger and the file logger beneath it, over random histories: beside a model of the
// two manifests, and beside a list of the files moved aside, with deaths at every step.

#include "app/archive/app_AppFileLogger.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

using test::SysInfoSetting;
using Names = std::vector<std::string>;

constexpr const char* directory = "/var/log/";
constexpr const char* manifest = "/var/log/logArchive.manifest";
constexpr const char* working = "/var/log/logArchive.manifest.working";
constexpr const char* intended = "/var/log/logArchive.intended";
constexpr unsigned int threshold = 10;
constexpr unsigned int maxSize = 25;
constexpr int migratorPid = 70;

void configure(const std::map<std::string, long>& numbers, bool archive = true) {
  auto config =
      test::configOf({{"AppFileLogger.directory", directory}, {"AppFileLogger.archive", archive}});
  for (const auto& [key, number] : numbers) config.set("AppFileLogger." + key, {.value = number});
  framework::Config::setConfig(config);
}

// In memory: thousands of files are brought to the disk.
const int inMemory = ::setenv("TMPDIR", "/dev/shm", 1);

// What the archive is to do, in numbers and texts.
struct ArchiveModel {
  bool idle = true;
  bool armed = true;
  unsigned int workingSize = 0;
  unsigned int archivedSize = 0;
  std::string workingText;
  std::optional<std::string> manifestText;
  std::vector<int> events;

  int add(const std::string& file, unsigned int size, bool blocked) {
    if (!idle && !manifestText) idle = armed = true, archivedSize = workingSize;
    if (blocked) return -1;
    workingText += file + "\n";
    workingSize += size;
    archivedSize += size;
    if (workingSize > threshold && idle) {
      idle = false;
      events.push_back(strings::tGSlogMigrationMc1);
      if (!manifestText) manifestText = std::exchange(workingText, ""), workingSize = 0;
    }
    if (archivedSize > maxSize && armed) {
      armed = false;
      events.push_back(strings::tGSlogMigrationMc3);
    }
    return 0;
  }
  void restart() { idle = armed = true, workingSize = archivedSize = 0; }
};

TEST(Archive, DoesAsItsModelOverRandomHistories) {
  test::SimulatedController controller{{"other", "logmigrated"}, 0};
  controller.addProcess(migratorPid, "/app/bin/logmigrated");
  controller.build();
  controller.runUntil(1);
  configure({{"archiveMigrationThreshold", threshold}, {"archiveMigrationMaxSize", maxSize}});
  auto logger = std::make_unique<AppFileLogger>("AppFileLogger", nullptr);
  const std::string root = controller.machine.root();
  ArchiveModel model;
  test::Random chance(1);
  for (int step = 0; step < 1000; ++step) {
    SCOPED_TRACE(step);
    if (chance.once(5) && std::filesystem::remove(root + manifest)) model.manifestText.reset();
    if (chance.once(20)) {
      logger = std::make_unique<AppFileLogger>("AppFileLogger", nullptr);
      model.restart();
    }
    const bool blocked = model.workingText.empty() && chance.once(5);
    if (blocked) std::filesystem::create_directory(root + working);
    const bool known = !chance.once(20);
    const bool enabled = known && !chance.once(20);
    std::optional<SysInfoSetting> sysInfo;
    if (known)
      sysInfo.emplace(std::map<std::string, std::string>{},
                      std::map<std::string, bool>{{"ManagedLogsEnable", enabled}});
    const std::string file = "/log" + std::to_string(step);
    const auto size = static_cast<unsigned int>(chance.below(threshold + 2));
    const int expected = enabled ? model.add(file, size, blocked) : (known ? 0 : -1);
    ASSERT_EQ(logger->addLogFileToArchive(file.c_str(), directory, size), expected);
    if (blocked) std::filesystem::remove(root + working);
    ASSERT_EQ(controller.readFile(working), model.workingText);
    ASSERT_EQ(controller.hasFile(manifest), model.manifestText.has_value());
    ASSERT_EQ(controller.readFile(manifest), model.manifestText.value_or(""));
  }
  std::vector<int> sent;
  for (const auto& signal : controller.machine.signals()) sent.push_back(signal.value);
  EXPECT_EQ(sent, model.events);
  EXPECT_EQ(controller.log.count("Managed logs archive file size exceeded"),
            std::ranges::count(sent, int{strings::tGSlogMigrationMc3}));
}

// Dies at a step, that is at one of its uses of a file; may refuse to open the log, or
// to see or fill the manifest's place.
class MortalMachine : public platform::SimulatedPlatform {
 public:
  struct Death {};

  const char* locate(const char* path, char* buffer, std::size_t size) override {
    if (stepsToDeath > 0 && --stepsToDeath == 0) throw Death{};
    const bool refused = (refusesLog && std::string(path) == "/var/log/mc.log") ||
                         (refusesManifest && std::string(path) == manifest);
    return SimulatedPlatform::locate(refused ? "/none/file" : path, buffer, size);
  }

  long stepsToDeath = 0;  // 0: none
  bool refusesLog = false, refusesManifest = false;
};

// A log of 100 bytes a file that keeps three, beside all that it was given and has made.
class LogHistory {
 public:
  explicit LogHistory(unsigned long seed) : m_chance(seed) {
    std::filesystem::create_directories(m_machine.root() + directory);
    configure({{"maxSize", 100}, {"keep", keep}, {"archiveMigrationThreshold", 250}});
    restart();
  }

  void live() {
    for (int step = 0; step < 80 && !testing::Test::HasFailure(); ++step) {
      if (m_chance.once(6)) copyByHand();
      if (m_chance.once(8)) consume();
      if (m_chance.once(10)) restart();
      m_machine.refusesLog = m_chance.once(8);
      m_machine.refusesManifest = m_chance.once(4);
      takeLine();
      check();
    }
  }

 private:
  static constexpr std::size_t keep = 3;

  std::string place(const std::string& path) const { return m_machine.root() + path; }
  std::string read(const std::string& path) const {
    return (std::ostringstream() << std::ifstream(place(path)).rdbuf()).str();
  }

  void restart() {
    m_logger.reset();
    if (m_chance.once(3)) m_machine.stepsToDeath = 1 + m_chance.below(12);
    try {
      m_logger = std::make_unique<AppFileLogger>("AppFileLogger", nullptr);
      m_machine.stepsToDeath = 0;
    } catch (const MortalMachine::Death&) {
      restart();
    }
  }

  // A line ends with the number of the line, so that no two are the same.
  void takeLine() {
    const std::string line = std::string(20 + static_cast<std::size_t>(m_chance.below(60)), 'x') +
                             std::to_string(++m_lines) + "\n";
    const bool mayBeMissing = m_machine.refusesLog;
    if (m_chance.once(3)) m_machine.stepsToDeath = 1 + m_chance.below(40);
    try {
      m_logger->takeLine(framework::LogType::Info, line.data(), line.size());
      m_machine.stepsToDeath = 0;
      const Names there = moved();
      if (!there.empty() && (m_made.empty() || there.back() != m_made.back())) m_deaths = 0;
      if (!mayBeMissing || logged().ends_with(line)) m_given += line;
    } catch (const MortalMachine::Death&) {
      m_machine.refusesLog = false;
      if (logged().ends_with(line)) m_given += line;
      ++m_deaths;
      tearManifest();
      if (m_chance.once(2)) consume();
      restart();
    }
  }

  // A death in the middle of the write leaves half a line.
  void tearManifest() {
    const std::string list = read(working);
    const std::string last = read(intended) + "\n";
    if (!list.ends_with(last) || last.size() < 2 || m_chance.once(2)) return;
    std::filesystem::resize_file(place(working),
                                 list.size() - 1 - static_cast<std::size_t>(m_chance.below(20)));
  }

  void copyByHand() {
    const std::string last = m_made.empty() ? "" : m_made.back();
    const std::string name = m_chance.of<std::string>(
        {"mc.log.20261122", "mc.log.4294967295", "mc.log.4294967297", "mc.log.00000007",
         "mc.log.261122", "mc.log.000001x", "mc.log.7", last + ".gz", last + ".bak"});
    if (m_made.empty() || m_copies.contains(name)) return;  // the first number tells what is far
    std::ofstream(place(directory + name)) << "a copy";
    m_copies.insert(name);
  }

  void consume() {
    m_consumed += read(manifest);
    std::filesystem::remove(place(manifest));
  }

  // The files that were moved aside and are there, the oldest first.
  Names moved() const {
    Names names;
    for (const auto& entry : std::filesystem::directory_iterator(place(directory))) {
      const std::string name = entry.path().filename();
      if (name.starts_with("mc.log.") && !m_copies.contains(name)) names.push_back(name);
    }
    std::ranges::sort(names);
    return names;
  }
  std::string logged() const {
    std::string all;
    for (const std::string& name : moved()) all += read(directory + name);
    return all + read("/var/log/mc.log");
  }

  void check() {
    const Names there = moved();
    for (const std::string& name : there) {
      if (std::ranges::find(m_made, name) != m_made.end()) continue;
      EXPECT_TRUE(m_made.empty() || m_made.back() < name) << name << " is given twice";
      m_made.push_back(name);
    }
    EXPECT_GE(there.size(), std::min(keep, m_made.size())) << "one was pushed out";
    EXPECT_LE(there.size(), keep + m_deaths) << "one was not removed";
    EXPECT_TRUE(std::ranges::equal(there, std::span(m_made).last(there.size())));
    for (const std::string& name : m_copies) EXPECT_EQ(read(directory + name), "a copy") << name;
    EXPECT_TRUE(m_given.ends_with(logged())) << "lines are lost or torn:\n" << logged();
    std::string listed;
    for (const std::string& name : m_made) listed += directory + name + "\n";
    EXPECT_EQ(m_consumed + read(manifest) + read(working), listed);
  }

  MortalMachine m_machine;
  const SysInfoSetting m_sysInfo{{}, {{"ManagedLogsEnable", true}}};
  test::Random m_chance;
  std::unique_ptr<AppFileLogger> m_logger;
  int m_lines = 0;
  std::size_t m_deaths = 0;  // since files beyond the number kept were last removed
  std::string m_given;       // the lines that have to be there, unless they were among the oldest
  Names m_made;              // all files that were ever moved aside
  std::set<std::string> m_copies;
  std::string m_consumed;  // what the log-migration daemon took
};

TEST(LogFiles, LoseNothingOverRandomHistories) {
  const int level = framework::Logger::getLevel();
  framework::Logger::setLevel(-1);
  for (unsigned long seed = 1; seed <= 60 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    LogHistory(seed).live();
  }
  framework::Logger::setLevel(level);
}

TEST(LogFiles, AFullDiskLosesWholeLinesAndPushesNothingOut) {
  const test::SimulatedController controller;
  configure({{"maxSize", 100}, {"keep", 1}}, false);
  controller.writeFile("/var/log/mc.log.000007", "old");
  framework::FileLogger logger("AppFileLogger", nullptr);
  const std::string line(60, 'a');
  {
    const test::Limit full(RLIMIT_FSIZE, 100);
    for (int i = 0; i < 4; ++i) logger.takeLine(framework::LogType::Info, line.data(), 60);
  }
  EXPECT_EQ(controller.readFile("/var/log/mc.log"), line);
  EXPECT_EQ(controller.readFile("/var/log/mc.log.000007"), "old");
  logger.takeLine(framework::LogType::Info, line.data(), 60);
  EXPECT_EQ(controller.readFile("/var/log/mc.log.000008"), line + line);
  for (const std::size_t size : {40U, 60U}) {
    logger.takeLine(framework::LogType::Info, line.data(), size);
  }
  EXPECT_TRUE(controller.hasFile("/var/log/mc.log.000009")) << "one that is full to the byte";
}

}  // namespace
}  // namespace services::app
