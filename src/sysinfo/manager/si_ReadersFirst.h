// A shared lock that readers need not wait for unless a writer is at work.
#pragma once

#include <condition_variable>
#include <mutex>

namespace services::sysinfo {

/// Shared and exclusive, as std::shared_mutex is used. A reader waits only for a writer that has
/// the lock, never for one that waits for it; so a thread may read while another reader waits for a
/// lock that this thread holds. In return readers that overlap can hold a writer up; when the last
/// of them leaves, a writer that waits comes before the next reader.
class ReadersFirst {
 public:
  void lock() {
    std::unique_lock guard(m_mutex);
    ++m_waiting;
    m_free.wait(guard, [this] { return m_handed || (!m_writing && m_readers == 0); });
    --m_waiting;
    m_handed = false;
    m_writing = true;
  }
  void unlock() {
    const std::lock_guard guard(m_mutex);
    m_writing = false;
    m_free.notify_all();
  }
  void lock_shared() {
    std::unique_lock guard(m_mutex);
    m_free.wait(guard, [this] { return !m_writing; });
    ++m_readers;
  }
  void unlock_shared() {
    const std::lock_guard guard(m_mutex);
    if (--m_readers > 0) return;
    m_writing = m_handed = m_waiting > 0;  // at once, or the next reader would be there first
    m_free.notify_all();
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_free;
  bool m_writing = false;
  bool m_handed = false;  // to one of the writers that wait
  unsigned int m_waiting = 0;
  unsigned int m_readers = 0;
};

}  // namespace services::sysinfo
