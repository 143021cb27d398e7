// What became of the pairing, line by line, kept over restarts.
#include "peer/pl_History.h"

#include <array>
#include <fstream>

#include "host/base/ut_DurableFile.h"
#include "host/base/ut_Path.h"
#include "sysinfo/store/si_Store.h"
#include "util/fw_ShownText.h"
#include "util/ut_TimeMeasure.h"

namespace services::peer {

namespace {

constexpr int fileMode = 0600;

std::string pathOfHistory() {
  const std::string store = sysinfo::storePath();
  return store.substr(0, store.rfind('/')) + "/partner.history";
}

std::string timeNow() {
  std::array<char, 64> text;
  return utility::TimeMeasure::printTimestamp(utility::TimeMeasure::getTimestamp(), text.data(),
                                              text.size());
}

}  // namespace

History::History() : m_path(pathOfHistory()) {
  std::ifstream file(utility::Path::located(m_path));
  for (std::string line; std::getline(file, line);) m_lines.push_back(framework::shownText(line));
  while (m_lines.size() > bound) m_lines.pop_front();
}

void History::add(const std::string& line) {
  const std::lock_guard writing(m_writing);
  std::string content;
  {
    const std::lock_guard lock(m_mutex);
    m_lines.push_back(timeNow() + " " + framework::shownText(line));
    if (m_lines.size() > bound) m_lines.pop_front();
    for (const std::string& kept : m_lines) content += kept + "\n";
  }
  utility::replaceFile(m_path.c_str(), content, fileMode);
}

std::vector<std::string> History::lines() const {
  const std::lock_guard lock(m_mutex);
  return {m_lines.begin(), m_lines.end()};
}

}  // namespace services::peer
