// The last lines of the log.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "host/log/fw_Logger.h"

namespace framework {

/// Keeps the last lines that were logged, debug lines left out, from its making to its end. Any
/// thread may ask.
class RecentLines : private Logger {
 public:
  static constexpr std::size_t most = 500;     ///< lines
  static constexpr std::size_t longest = 400;  ///< bytes of each; the rest is cut

  struct Line {
    std::uint64_t number;  ///< from 1, in the order of the log
    std::int64_t time;     ///< the host's timestamp
    int type;              ///< of framework::LogType
    std::string text;
  };

  /// The host's, from the first call on.
  static RecentLines& instance();

  RecentLines() { registerLogger(this); }
  ~RecentLines() override { unregisterLogger(this); }
  RecentLines(const RecentLines&) = delete;
  RecentLines& operator=(const RecentLines&) = delete;

  std::vector<Line> lines() const;
  /// Those that came after the line of that number.
  std::vector<Line> linesAfter(std::uint64_t number) const;

 private:
  void takeLine(int type, const char* line, std::size_t size) override;

  mutable std::mutex m_mutex;
  std::deque<Line> m_lines;
  std::uint64_t m_count = 0;
};

}  // namespace framework
