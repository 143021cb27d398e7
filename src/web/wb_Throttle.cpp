// How long who has failed to log in must wait.
#include "web/wb_Throttle.h"

#include <algorithm>

namespace services::web {

namespace {

constexpr int freeFailures = 5;
constexpr std::int64_t longest = 60;
constexpr std::int64_t memory = 900;

std::int64_t pauseAfter(int failures) {
  if (failures < freeFailures) return 0;
  return std::min(longest, std::int64_t{1} << std::min(failures - freeFailures, 8));
}

}  // namespace

std::int64_t Throttle::wait(const std::string& key, std::int64_t now) const {
  const auto tries = m_tries.find(key);
  return tries == m_tries.end() ? 0 : std::max<std::int64_t>(0, tries->second.until - now);
}

void Throttle::fail(const std::string& key, std::int64_t now) {
  if (m_tries.find(key) == m_tries.end() && m_tries.size() >= most) makeRoom();
  Tries& tries = m_tries[key];
  if (now - tries.last > memory) tries.failures = 0;
  tries.last = now;
  tries.until = now + pauseAfter(++tries.failures);
}

void Throttle::makeRoom() {
  m_tries.erase(
      std::ranges::min_element(m_tries, {}, [](const auto& entry) { return entry.second.last; }));
}

}  // namespace services::web
