// The file logger that keeps the manifest of log files to be archived.
#include "app/archive/app_AppFileLogger.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <string>

#include "app/supervision/app_AppManager.h"
#include "host/base/fw_Entrance.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_DurableFile.h"
#include "host/base/ut_Path.h"
#include "host/log/fw_SnprintfAssert.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_ServiceFactory.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "util/fw_Exception.h"
#include "util/ut_BufferStream.h"
#include "util/ut_FileOutputStream.h"

namespace services::app {

using framework::PropertyType;
using utility::Path;

namespace {

void checkDirectory(const char* value, std::vector<framework::PropertyFinding>& findings) {
  const std::string directory = value;
  if (!framework::isSafePath(value)) findings.push_back({true, framework::safePathRule});
  if (!directory.ends_with('/')) findings.push_back({true, "must end in a slash"});
}

// An archived file is itself reported in some lines of the log; were files smaller than these, each
// would fill the next.
constexpr long smallestFile = 16384;

constexpr framework::PropertyRule propertyRules[] = {
    {.key = "directory",
     .type = PropertyType::Text,
     .absent = "no log file is written",
     .check = checkDirectory},
    {.key = "maxSize", .type = PropertyType::Integer, .minimum = smallestFile},
    {.key = "keep", .type = PropertyType::Integer, .minimum = 1, .maximum = 10000},
    {.key = "archive", .type = PropertyType::Boolean},
    {.key = "archiveMigrationThreshold", .type = PropertyType::Integer},
    {.key = "archiveMigrationMaxSize", .type = PropertyType::Integer},
};

// What has been listed and not yet archived. One for the process.
struct ArchiveState {
  bool m_migrationIdle = true;      // no handed-over manifest is waiting to be consumed
  bool m_sizeEventArmed = true;     // the alarm may be raised
  unsigned int m_workingSize = 0;   // bytes listed in the working manifest
  unsigned int m_archivedSize = 0;  // bytes listed and not yet consumed
  std::string m_directory = {};     // of the manifests
};

std::mutex archiveMutex;  // guards the state; taken before the table lock
ArchiveState archive;

void tellMigrator(strings::stringtoken event) {
  if (const AppManager* manager = AppManager::getSingleton()) {
    manager->propagateServiceEvent(strings::tGSlogMigrator, event);
  } else {
    framework::Logger::StaticLog(framework::LogType::Debug, "no supervision service to send %s",
                                 strings::StringRepository::toString(event));
  }
}

void readSize(const char* name, const char* key, unsigned int& size) {
  int value = 0;
  if (framework::Config::getConfig(0, nullptr)->getIntValueOf(name, key, false, &value)) {
    size = static_cast<unsigned int>(value);
  }
}

std::string contentOf(const char* path) {
  const utility::BufferStream content(path);
  return {content.pTail(), static_cast<std::size_t>(content.ReadAvailable())};
}

// A kill in the middle of a write can leave the beginning of a line, where the line crosses a page;
// such a file was never said to be listed.
void cutHalfLine(const char* path) {
  const std::string text = contentOf(path);
  if (text.empty() || text.back() == '\n') return;
  Path::truncate(path, static_cast<std::int64_t>(text.rfind('\n') + 1));
}

bool hasLine(const char* path, const std::string& line) {
  return ("\n" + contentOf(path)).find("\n" + line + "\n") != std::string::npos;
}

}  // namespace

framework::Service* BuildAppFileLogger(const char* name) {
  std::cerr << "Building App File Logger\n";
  std::cout << "Building App File Logger" << std::endl;
  return new AppFileLogger(name, nullptr);
}

const framework::ServiceFactory pFactoryAppFileLogger(BuildAppFileLogger,
                                                      strings::pGSAppFileLogger);
const framework::ServiceProperties propertiesAppFileLogger(strings::pGSAppFileLogger,
                                                           propertyRules);

// The paths of the two manifests of a directory, and of the file that names the one to be listed.
struct AppFileLogger::Manifests {
  explicit Manifests(const char* dir) {
    snprintfAssert("app_AppFileLogger", __LINE__, __PRETTY_FUNCTION__, manifest.data(),
                   manifest.size(), "%slogArchive.manifest", dir);
    snprintfAssert("app_AppFileLogger", __LINE__, __PRETTY_FUNCTION__, working.data(),
                   working.size(), "%slogArchive.manifest.working", dir);
    snprintfAssert("app_AppFileLogger", __LINE__, __PRETTY_FUNCTION__, intended.data(),
                   intended.size(), "%slogArchive.intended", dir);
  }
  std::array<char, 256> manifest;
  std::array<char, 256> working;
  std::array<char, 256> intended;
};

AppFileLogger::AppFileLogger(const char* name, const char* second) : FileLogger(name, second) {
  std::cerr << "AppFileLogger: constructor\n";
  readSize(name, "archiveMigrationThreshold", m_archiveMigrationThreshold);
  readSize(name, "archiveMigrationMaxSize", m_archiveMigrationMaxSize);
  {
    const std::lock_guard lock(archiveMutex);
    archive = {.m_directory = getDirectory()};
  }
  settle();
  std::cout << "AppFileLogger: constructor complete" << std::endl;
}

unsigned int AppFileLogger::backlog() {
  std::unique_lock lock(archiveMutex);
  const std::string directory = archive.m_directory;
  lock.unlock();
  if (directory.empty()) return 0;
  const Manifests manifests(directory.c_str());
  const std::string lines =
      contentOf(manifests.manifest.data()) + contentOf(manifests.working.data());
  return static_cast<unsigned int>(std::ranges::count(lines, '\n'));
}

int AppFileLogger::migrateFile(const char* source, const char* dest, bool wanted) {
  if (wanted) intend(dest);
  FileLogger::migrateFile(source, dest, wanted);
  if (!wanted) return 0;
  const std::int64_t size = Path::fileSize(dest);
  LogInfo("AppFileLogger::migrateFile log file source %s, dest %s, size %d", source, dest,
          static_cast<int>(size < 0 ? 0 : size));
  if (size < 0) return -1;
  const int result = addLogFileToArchive(dest, getDirectory(), static_cast<unsigned int>(size));
  if (result == 0) Path::remove(Manifests(getDirectory()).intended.data());
  return result;
}

void AppFileLogger::intend(const char* dest) const {
  settle();
  if (utility::replaceFile(Manifests(getDirectory()).intended.data(), dest, 0666) == 0) return;
  LogError("a kill would forget log file %s: it could not be noted (%d)", dest, errno);
}

// What the manifest says of the file tells only as long as it was not handed over, so the note is
// gone before that; see addLogFileToArchive.
void AppFileLogger::settle() const {
  const Manifests manifests(getDirectory());
  const std::lock_guard lock(archiveMutex);
  const std::string file = contentOf(manifests.intended.data());
  if (file.empty()) return;
  int result = 0;
  if (Path::exists(file.c_str()) && !hasLine(manifests.working.data(), file)) {
    if (managedLogsEnabled(result) && !appendLine(manifests, file.c_str())) result = -1;
  }
  if (result == 0) Path::remove(manifests.intended.data());
}

bool AppFileLogger::managedLogsEnabled(int& result) const {
  result = -1;
  try {
    const sysinfo::SysInfoReadGuard guard;
    if (guard.getObject() == nullptr) {
      LogError("Could not get pSysinfo.");
      return false;
    }
    result = 0;
    if (guard.getObject()->getManagedLogsEnable()) return true;
    LogInfo("Managed Logs not enabled.");
  } catch (framework::Exception* failed) {
    delete failed;
    LogError("Standard exception");
  } catch (...) {
    LogError("Default exception ");
  }
  return false;
}

int AppFileLogger::addLogFileToArchive(const char* file, const char* dir, unsigned int size) {
  int result = 0;
  if (!managedLogsEnabled(result)) return result;
  LogInfo("archive log file %s, size %u, dir %s", file, size, dir);
  const Manifests manifests(dir);
  const std::lock_guard lock(archiveMutex);
  checkConsumed(manifests);
  if (!appendLine(manifests, file)) return -1;
  Path::remove(manifests.intended.data());
  archive.m_archivedSize += size;
  archive.m_workingSize += size;
  LogInfo("current archive working, size value %u, archived value %u", archive.m_workingSize,
          archive.m_archivedSize);
  decideHandOver(manifests);
  LogInfo("current archive size %u", archive.m_archivedSize);
  raiseAlarm();
  return 0;
}

void AppFileLogger::checkConsumed(const Manifests& manifests) const {
  if (archive.m_migrationIdle) return;
  if (Path::fileSize(manifests.manifest.data()) >= 0) {
    LogInfo("archive still exists...not processed...");
    return;
  }
  LogInfo("archive has been processed...working size %u", archive.m_workingSize);
  archive.m_migrationIdle = true;
  archive.m_sizeEventArmed = true;
  archive.m_archivedSize = archive.m_workingSize;
}

bool AppFileLogger::appendLine(const Manifests& manifests, const char* file) const {
  cutHalfLine(manifests.working.data());
  utility::FileOutputStream working(manifests.working.data(), true, 0666);
  if (!working.isOutputStreamOpen()) {
    LogError("Could not open working manifest file: %s", manifests.working.data());
    return false;
  }
  const std::string line = std::string(file) + "\n";
  working.SendOutputStream(line.data(), static_cast<unsigned int>(line.size()));
  if (working.isOutputStreamInError() || utility::synchroniseFile(manifests.working.data()) != 0) {
    LogError("Could not write working manifest file: %s", manifests.working.data());
    return false;
  }
  LogInfo("archive file updated by [%s]", file);
  return true;
}

void AppFileLogger::decideHandOver(const Manifests& manifests) const {
  if (m_archiveMigrationThreshold >= archive.m_workingSize) {
    LogInfo("archive working file size now %u, limit %u", archive.m_workingSize,
            m_archiveMigrationThreshold);
  } else if (archive.m_migrationIdle) {
    handOver(manifests);
  }
}

void AppFileLogger::handOver(const Manifests& manifests) const {
  const int result = Path::moveNew(manifests.working.data(), manifests.manifest.data());
  const bool waitsFromBefore = result != 0 && errno == EEXIST;
  LogInfo("archive file moved, rc = %d", result);
  if (result != 0 && !waitsFromBefore) return;
  tellMigrator(strings::tGSlogMigrationMc1);
  archive.m_migrationIdle = false;
  LogInfo("archive file now %u, migration event sent", archive.m_workingSize);
  if (waitsFromBefore) return;
  Path::remove(manifests.working.data());
  archive.m_workingSize = 0;
}

void AppFileLogger::raiseAlarm() const {
  if (m_archiveMigrationMaxSize >= archive.m_archivedSize || !archive.m_sizeEventArmed) return;
  tellMigrator(strings::tGSlogMigrationMc3);
  LogError("Managed logs archive file size exceeded");
  archive.m_sizeEventArmed = false;
}

}  // namespace services::app
