// What became of the pairing, line by line, kept over restarts.
#pragma once

#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace services::peer {

/// The last `bound` lines, in a file beside the system information that is replaced whole with each
/// new one: a crash leaves the old lines or the new. Where it cannot be written the lines are kept
/// in memory. Any thread may call.
class History {
 public:
  static constexpr std::size_t bound = 200;

  /// Reads the file.
  History();

  /// Adds a line behind the wall clock's time; characters that do not print become "?".
  void add(const std::string& line);
  std::vector<std::string> lines() const;

 private:
  const std::string m_path;
  mutable std::mutex m_writing;  // orders the writers of the file; taken before the other
  mutable std::mutex m_mutex;    // guards the lines; a leaf, held across no write
  std::deque<std::string> m_lines;
};

}  // namespace services::peer
