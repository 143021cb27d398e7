// Questions about paths.
#pragma once

namespace utility {

class Path {
 public:
  /// Whether there is a file, a directory or anything else under that path.
  static bool exists(const char* path);

  /// The part of a path behind its last "/"; the whole text when it has none.
  static const char* baseName(const char* path);
};

}  // namespace utility
