// The running processes as /proc lists them, and files of their command lines.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace utility {

/// The command line of one process, open. Once that process has ended and is reaped it cannot be
/// read any more, also when another one has its pid: the file belongs to the process, not to the
/// number. An exec of the process is seen.
class ProcessFile {
 public:
  ProcessFile() = default;
  /// Takes an open descriptor over; -1 stands for none.
  explicit ProcessFile(int descriptor) : m_descriptor(descriptor) {}
  ~ProcessFile() { close(); }
  ProcessFile(ProcessFile&& other) noexcept;
  ProcessFile& operator=(ProcessFile&& other) noexcept;

  bool isOpen() const { return m_descriptor >= 0; }

  /// One pread(2) from the file's start of at most `size` bytes, so that it is seen at one moment.
  /// Answers the bytes read; -1 when the process is gone or the file is not open.
  int read(char* data, unsigned int size) const;

  /// Makes the file one that stays open: its descriptor gets a number past the share that is left
  /// to everyone else (see platform::freeDescriptors()). With no such number left the file is
  /// closed.
  void keep();

 private:
  void close();

  int m_descriptor = -1;
};

/// What a running process was made of, and by whom.
struct ProcessOrigin {
  std::string executable;  ///< the path of its file, also where that was replaced or removed since
  unsigned int user = 0;   ///< its real user id
  int parent = 0;          ///< the pid of its parent
};

/// What a process does at the moment (proc(5), /proc/PID/stat).
struct ProcessCondition {
  char state = '?';  ///< 'T' stopped by a signal, 't' by a debugger, 'Z' of an ended main thread
  int threads = 0;   ///< above 1 beside 'Z': the others go on
};

/// Lists the running processes. For one thread at a time.
class ProcessDirectory {
 public:
  /// Replaces `pids` by the pids of all processes, in ascending order. It allocates nothing but
  /// `pids`'s growth. It stays as it is when /proc cannot be
  /// opened: one lack of descriptors does not make every daemon dead.
  void list(std::vector<int>& pids);

  /// Opens the command line of a process. Not open when there is none, or no descriptor.
  static ProcessFile open(int pid);

  /// Where a process comes from; nothing when it has ended or may not be looked at.
  static std::optional<ProcessOrigin> origin(int pid);

  /// What a process does; nothing when there is none.
  static std::optional<ProcessCondition> condition(int pid);

 private:
  void append(std::size_t filled, std::vector<int>& pids) const;

  alignas(8) std::array<char, 65536> m_entries;
};

}  // namespace utility
