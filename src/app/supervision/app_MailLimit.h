// How many crash mails a daemon may cause.
#pragma once

#include <cstdint>
#include <deque>

namespace services::app {

/// Allows so many mails an hour and counts those that it left out. The first is always allowed.
class MailLimit {
 public:
  /// Whether one may be sent at that time, a host timestamp, as if it were. 0 is no limit.
  bool allows(std::int64_t now, unsigned int limit) {
    constexpr std::int64_t hour = 3600 * std::int64_t{1000000};
    if (limit == 0) return true;
    while (!m_sent.empty() && now - m_sent.front() >= hour) m_sent.pop_front();
    if (m_sent.size() >= limit) {
      ++m_leftOut;
      return false;
    }
    m_sent.push_back(now);
    m_leftOut = 0;
    return true;
  }

  /// Those since the last that was sent.
  unsigned int leftOut() const { return m_leftOut; }

 private:
  std::deque<std::int64_t> m_sent;  // within the hour
  unsigned int m_leftOut = 0;
};

}  // namespace services::app
