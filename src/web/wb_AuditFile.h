// The files in which the audit survives the host.
#pragma once

#include <string>
#include <vector>

namespace services::web {

/// Appends lines to a file, each on the disk when append() returns. At half a
/// MiB the file becomes PATH.1, in place of the one before, and begins anew.
/// Whatever ends the process leaves whole lines. One thread calls at a time.
class AuditFile {
 public:
  /// An empty path is no file: nothing is kept.
  explicit AuditFile(std::string path) : m_path(std::move(path)) {}

  /// Reads the lines of both files, the oldest first, without their ends. A
  /// last line without its end was torn and is left out.
  std::vector<std::string> load();
  /// A line that cannot be written is lost, which is a warning for the first
  /// one.
  void append(const std::string& line);

 private:
  bool makeRoom(std::size_t size) const;
  bool write(const std::string& line) const;

  const std::string m_path;
  bool m_failed = false;  // the last write
};

}  // namespace services::web
