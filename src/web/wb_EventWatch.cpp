// Looks for what happened on the controller since the last look.
#include "web/wb_EventWatch.h"

#include <array>
#include <limits>

#include "util/ut_BufferStream.h"

namespace services::web {

using app::AppManager;

namespace {

std::string timeOf(const app::memtrack_& sample) {
  std::array<char, 32> buffer{};
  utility::BufferStream stream(buffer.data(), buffer.size(), true);
  sample.timeStamp.ToISOBuffer(stream);
  return buffer.data();
}

}  // namespace

std::vector<Happening> EventWatch::look() {
  Snapshot now = readSnapshot(m_sources, Interfaces | Pairing);
  std::vector<Happening> all;
  if (m_isKnown) all = happenings(m_last, now);
  m_last = std::move(now);
  if (const AppManager* manager = AppManager::getSingleton()) {
    lookAtDaemons(*manager, all);
    lookAtMemory(*manager, all);
  }
  if (!m_isKnown) all.clear();
  m_isKnown = true;
  return all;
}

void EventWatch::lookAtDaemons(const AppManager& service, std::vector<Happening>& all) {
  if (!m_isKnown) m_entry = service.history().lastNumber();
  for (const app::HistoryEntry& entry : service.history().entriesAfter(m_entry)) {
    all.push_back(happeningOf(entry, manager()));
    m_entry = entry.number;
  }
  auto failing = AppManager::failingDaemons(std::numeric_limits<std::size_t>::max());
  for (Happening& one : flapping(m_failing, failing, manager(), m_last.now)) {
    all.push_back(std::move(one));
  }
  m_failing = std::move(failing);
}

void EventWatch::lookAtMemory(const AppManager& service, std::vector<Happening>& all) {
  const auto sample = service.newestMemSample();
  if (!sample || timeOf(*sample) == m_sampled) return;
  m_sampled = timeOf(*sample);
  all.push_back(happeningOf(*sample, m_last.now));
}

std::vector<RecentLines::Line> EventWatch::lines() {
  auto lines = m_sources.lines.linesAfter(m_line);
  if (!lines.empty()) m_line = lines.back().number;
  return lines;
}

}  // namespace services::web
