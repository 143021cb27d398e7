// The last lines of the log.
#include "host/log/fw_RecentLines.h"

#include <algorithm>

#include "util/ut_TimeMeasure.h"

namespace framework {

RecentLines& RecentLines::instance() {
  static RecentLines only;
  return only;
}

void RecentLines::takeLine(int type, const char* line, std::size_t size) {
  if (type > LogType::Info) return;
  std::string text(line, std::min(size, longest));
  while (text.ends_with('\n')) text.pop_back();
  const std::int64_t now = utility::TimeMeasure::getTimestamp();
  const std::lock_guard lock(m_mutex);
  m_lines.push_back({++m_count, now, type, std::move(text)});
  if (m_lines.size() > most) m_lines.pop_front();
}

std::vector<RecentLines::Line> RecentLines::lines() const {
  const std::lock_guard lock(m_mutex);
  return {m_lines.begin(), m_lines.end()};
}

std::vector<RecentLines::Line> RecentLines::linesAfter(std::uint64_t number) const {
  const std::lock_guard lock(m_mutex);
  const auto isLater = [number](const Line& line) { return line.number > number; };
  return {std::ranges::find_if(m_lines, isLater), m_lines.end()};
}

}  // namespace framework
