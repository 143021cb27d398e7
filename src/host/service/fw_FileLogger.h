// The service that writes the log to a file and moves full files aside.
#pragma once

#include <memory>
#include <string>

#include "host/log/fw_Logger.h"
#include "host/service/fw_Service.h"
#include "util/ut_FileOutputStream.h"

namespace framework {

/// Appends every log line to DIRECTORYmc.log. A file that has reached its size is moved aside, to
/// DIRECTORYmc.log.NNNNNN with the next number that no file has, and the oldest beyond the number
/// kept is removed. Files with other names, or whose number lies far beyond the others (copies made
/// by hand), are left alone and count for nothing. While the file cannot be opened, each line tries
/// again; a warning then tells how many are missing.
///
/// Properties: "directory" (ends in a slash; without it nothing is written), "maxSize" (bytes,
/// 65536), "keep" (files moved aside that are kept, archived or not, 40), "archive" (whether a
/// file that is moved aside is to be archived, false).
class FileLogger : public ActiveService, public Logger {
 public:
  /// Opens the file; what is there is appended to. The second argument is not used.
  FileLogger(const char* name, const char* second);
  ~FileLogger() override;

  /// Begins and ends to take the log's lines. The first writes those of the start so far; between
  /// the two, lines are written and files moved on the logging thread.
  void Startup() override;
  void Shutdown() override;
  void threadDo(int /*index*/) override {}
  const ServiceInfo* serviceInfo() const override { return &m_serviceInfoData; }
  void information(utility::PutStream& stream, int indentation, bool detailed) const override;

  void takeLine(int type, const char* line, std::size_t size) override;

  /// Moves a log file from `source` to `dest`; `archive` asks for it to be archived, which the
  /// host itself does not do. Called on the logging thread. 0, or -1 with errno.
  virtual int migrateFile(const char* source, const char* dest, bool archive);

 protected:
  /// The directory, with its slash at the end; empty when none is configured.
  const char* getDirectory() const { return m_directory.c_str(); }

 private:
  bool open();
  void moveAside();
  std::string nextFree();
  void removeOldest() const;

  static const ServiceInfo m_serviceInfoData;

  std::string m_directory;
  std::string m_path;
  int m_maxSize = 65536;
  int m_keep = 40;
  bool m_archive = false;
  unsigned int m_lastNumber = 0;  // of the files moved aside
  std::int64_t m_size = 0;        // of the open file
  unsigned int m_missing = 0;     // lines that came while it could not be opened
  std::unique_ptr<utility::FileOutputStream> m_file;
};

}  // namespace framework
