// The file logger that keeps the manifest of log files to be archived.
#pragma once

#include "host/service/fw_FileLogger.h"

namespace services::app {

/// Appends each log file that is moved aside for archiving to the working manifest, one path a
/// line. Once the files listed there are large enough, the working manifest becomes the manifest
/// and the log-migration daemon is told (logMigrationMc1); the daemon deletes it when it has
/// archived the files. While it stands, the working manifest goes on growing. When more than a
/// maximum is not yet archived, the daemon is told once (logMigrationMc3) and an error is logged.
/// All this happens only while managed logs are enabled in the system information.
///
/// A file's new name is on the disk before the file is moved, until it is listed; one that a kill
/// left between the two is listed by the next constructor.
///
/// The state is one for the process and has a lock of its own, taken before that of the process
/// table. The manifests outlive the process, the state does not.
class AppFileLogger : public framework::FileLogger {
 public:
  AppFileLogger(const char* name, const char* second);
  ~AppFileLogger() override = default;

  /// Moves the file; with `archive`, lists `dest`. 0, or negative when the file could not be
  /// listed.
  int migrateFile(const char* source, const char* dest, bool archive) override;

  /// How many files are listed and not yet archived, in the directory of the last logger built.
  /// Reads the manifests; any thread may call.
  static unsigned int backlog();

  /// Lists a file of `size` bytes in the manifest of the directory `dir`, which ends in a slash. 0
  /// also while managed logs are disabled, when nothing is done; -1 on failure.
  int addLogFileToArchive(const char* file, const char* dir, unsigned int size);

 private:
  struct Manifests;

  void intend(const char* dest) const;
  void settle() const;
  bool managedLogsEnabled(int& result) const;
  void checkConsumed(const Manifests& manifests) const;
  bool appendLine(const Manifests& manifests, const char* file) const;
  void handOver(const Manifests& manifests) const;
  void decideHandOver(const Manifests& manifests) const;
  void raiseAlarm() const;

  unsigned int m_archiveMigrationThreshold = 204800;
  unsigned int m_archiveMigrationMaxSize = 2048000;
};

}  // namespace services::app
