// What commands write to standard error: a file in memory.
#pragma once

#include <string>

#include "host/machine/Descriptor.h"

namespace platform {

/// Takes the standard error of one command and of all that inherit it; a daemon keeps it for its
/// life, longer than this process lives. A write to it never waits, never fails for want of a
/// reader and never ends the writer, as one to a pipe would. It is written at its end.
class ErrorFile {
 public:
  /// Without a descriptor to spare or memory it is not open.
  static ErrorFile create();

  ErrorFile() = default;

  /// -1 where it is not open.
  int get() const { return m_file.get(); }

  /// The last line that is not blank, as it may be shown, cut to its last 200 bytes.
  std::string lastLine() const;

  /// Frees all but the end of such a file that is the standard error of a process, once it takes
  /// more than 64 KiB; the writer sees nothing of it. Nothing for a process that has another.
  static void bound(int pid);

 private:
  explicit ErrorFile(Descriptor file) : m_file(std::move(file)) {}

  Descriptor m_file;
};

}  // namespace platform
