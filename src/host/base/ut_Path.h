// Questions about paths, and moving files.
#pragma once

#include <cstdint>
#include <string>

namespace utility {

class Path {
 public:
  /// Whether there is a file, a directory or anything else under that path.
  static bool exists(const char* path);

  /// Whether there is a regular file, or a link to one.
  static bool isFile(const char* path);

  /// Whether there is a regular file, or a link to one, that this process may execute.
  static bool isExecutable(const char* path);

  /// Whether others than root and the process's own user can put files of theirs in place of those
  /// of this directory. Not where it does not exist.
  static bool isOpenToOthers(const char* directory);

  /// The size of a file in bytes; -1 when its status cannot be taken.
  static std::int64_t fileSize(const char* path);

  /// Moves a file, in place of what is there. 0, or -1 with errno.
  static int move(const char* from, const char* to);
  /// Moves a file to where nothing is: EEXIST when there is something.
  static int moveNew(const char* from, const char* to);
  /// Cuts a file to a size in bytes. 0, or -1 with errno.
  static int truncate(const char* path, std::int64_t size);
  /// Removes a file. 0, or -1 with errno.
  static int remove(const char* path);

  /// Where a path lies for the operating system, on the machine in force.
  static std::string located(const std::string& path);

  /// The part of a path behind its last "/"; the whole text when it has none.
  static const char* baseName(const char* path);
};

}  // namespace utility
