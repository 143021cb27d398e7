// A shared lock that readers need not wait for unless a writer is at work.
#pragma once

#include <condition_variable>
#include <mutex>

namespace services::sysinfo {

/// Shared and exclusive, as std::shared_mutex is used. A reader waits only for a writer that has
/// the lock, never for one that waits for it; so a thread may read while another reader waits for a
/// lock that this thread holds. In return readers can hold a writer up.
class ReadersFirst {
 public:
  void lock() {
    std::unique_lock guard(m_mutex);
    m_free.wait(guard, [this] { return !m_writing && m_readers == 0; });
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
    if (--m_readers == 0) m_free.notify_all();
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_free;
  bool m_writing = false;
  unsigned int m_readers = 0;
};

}  // namespace services::sysinfo
