// The command line of a running process.
#pragma once

#include <array>
#include <string_view>

namespace utility {
class ProcessFile;
}

namespace services::app {

/// A process's command line as /proc/PID/cmdline gives it (proc(5)): arguments ended by zero bytes,
/// of which at most the first 1023 bytes are used.
class CommandLine {
 public:
  static constexpr unsigned int maxSize = 1023;

  /// Reads that of the process directory, "/proc/412" for example, with one open and one read.
  /// False when the process cannot be read, as when it has just ended.
  bool read(const char* directory);
  /// The same from a file that is open; false when its process is gone.
  bool read(const utility::ProcessFile& file);

  /// The bytes used, zero bytes between the arguments.
  std::string_view bytes() const { return {m_bytes.data(), m_size}; }

  /// Turns the zero bytes into blanks and answers the whole command line as one text.
  const char* text();

  /// Copies the program's base name, cut at `size` - 1 characters: the first word up to a zero
  /// byte, blank or tab, and of that what follows the last slash. Empty for a kernel thread.
  void copyBaseName(char* name, unsigned int size) const;

 private:
  bool take(int size);

  std::array<char, maxSize + 1> m_bytes;
  unsigned int m_size = 0;
};

/// Writes a debug line of the supervision that a process could not be opened or read.
void logOpenFailure();
void logReadFailure();

/// The pid of a process directory: the number behind its second slash.
int pidOf(const char* directory);

}  // namespace services::app
