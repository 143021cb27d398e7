// Watches processes for their ends, and wakes who acts on them.
#include "util/ut_ExitWatch.h"

#include <algorithm>
#include <limits>

#include "util/ut_System.h"

namespace utility {

ExitWatch::Id ExitWatch::begin(int pid, const void* group) {
  const std::lock_guard lock(m_mutex);
  const Id id = m_lastId + 1;
  const int handle = open(id, pid);
  if (handle < 0) return 0;
  m_members.emplace(id, Member{.handle = handle, .group = group});
  ++m_living[group];
  return m_lastId = id;
}

void ExitWatch::end(Id id) {
  const std::lock_guard lock(m_mutex);
  const auto found = m_members.find(id);
  if (found == m_members.end()) return;
  if (found->second.lives) leave(found->second.group);
  close(found->second.handle);
  m_members.erase(found);
}

// Whether that was the last of the group.
bool ExitWatch::leave(const void* group) {
  const auto living = m_living.find(group);
  if (--living->second > 0) return false;
  m_living.erase(living);
  return true;
}

void ExitWatch::ended(Id id) {
  const std::lock_guard lock(m_mutex);
  const auto found = m_members.find(id);
  if (found == m_members.end() || !found->second.lives) return;
  found->second.lives = false;
  if (!leave(found->second.group)) return;
  if (m_firstEnd == 0) m_firstEnd = System::current().now();
  callForWake();
}

void ExitWatch::order() {
  const std::lock_guard lock(m_mutex);
  callForWake();
}

void ExitWatch::callForWake() {
  m_wanted = true;
  plan();
}

void ExitWatch::setTicking(bool on) {
  const std::lock_guard lock(m_mutex);
  if (on == (m_nextTick != 0)) return;
  m_nextTick = on ? System::current().now() + tick : 0;
  if (on) plan();
}

void ExitWatch::due() {
  const std::lock_guard lock(m_mutex);
  plan();
}

// Wakes if it is time, else asks to be called when it is.
void ExitWatch::plan() {
  const std::int64_t now = System::current().now();
  std::int64_t next = std::numeric_limits<std::int64_t>::max();
  if (m_wanted) next = std::max(now, m_lastWake + gap);
  if (m_nextTick != 0) next = std::min(next, std::max(m_nextTick, m_lastWake + gap));
  if (next <= now) {
    m_wanted = false;
    m_lastWake = now;
    if (m_nextTick != 0 && m_nextTick <= now) m_nextTick = now + tick;
    if (m_woken) m_woken();
    next = m_nextTick != 0 ? m_nextTick : std::numeric_limits<std::int64_t>::max();
  }
  if (next != std::numeric_limits<std::int64_t>::max()) arm(next);
}

void ExitWatch::lookBegins() {
  const std::lock_guard lock(m_mutex);
  if (m_firstEnd == 0) return;
  const std::int64_t took = System::current().now() - m_firstEnd;
  const auto* const bucket = std::ranges::lower_bound(bounds, took);
  ++m_histogram[static_cast<std::size_t>(bucket - bounds.begin())];
  m_histogramTotal += took;
  m_firstEnd = 0;
}

ExitWatch::Histogram ExitWatch::histogram() const {
  const std::lock_guard lock(m_mutex);
  return m_histogram;
}

std::int64_t ExitWatch::histogramTotal() const {
  const std::lock_guard lock(m_mutex);
  return m_histogramTotal;
}

void ExitWatch::stop() {
  const std::lock_guard lock(m_mutex);
  m_woken = nullptr;
}

}  // namespace utility
