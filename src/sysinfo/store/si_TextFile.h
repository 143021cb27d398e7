// Rows in a text file: what a small controller has in place of a database.
#pragma once

#include <string>
#include <string_view>

#include "sysinfo/record/si_Rows.h"

namespace services::sysinfo {

/// One text file, which each commit replaces whole: what a commit has answered is on the disk, and
/// a power loss leaves the old rows or the new. Not for several threads at once.
///
///     settings 1
///     SCOPE <tab> KEY <tab> VALUE       for each row, in order; \t, \n and \\ stand for their like
///     sha256 DIGEST                     of all rows, so that damage is found
class TextFile {
 public:
  enum class State { Good, Empty, Damaged, Newer, Failed };

  /// The file's name in the directory of the system information.
  static constexpr const char* fileName = "system.txt";

  /// Reads and verifies the file.
  explicit TextFile(const std::string& path);

  /// Good: verified. Empty: there is no file, or nothing in it. Damaged and Newer: not to be used.
  /// Failed: it could not be read, error() says why.
  State state() const { return m_state; }
  const std::string& error() const { return m_error; }
  const Rows& rows() const { return m_rows; }

  /// Makes the rows what `rows` says. False with error() set when it fails; nothing is changed
  /// then.
  bool commit(const Rows& rows);

  /// Writes a complete copy to `path`, in place of what is there.
  bool copyTo(const std::string& path);

 private:
  State read();
  State take(std::string_view content);
  bool takeRow(std::string_view line);
  bool write(const std::string& path, const Rows& rows);

  const std::string m_path;
  std::string m_error;
  Rows m_rows;
  State m_state;
};

}  // namespace services::sysinfo
