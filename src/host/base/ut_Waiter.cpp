// A mutex with a condition on which threads sleep in the host's time.
#include "host/base/ut_Waiter.h"

#include <algorithm>

#include "host/machine/Platform.h"

namespace utility {

void Waiter::wait(int seconds) {
  {
    const std::lock_guard point(m_point.mutex);
    m_mutex.unlock();
    platform::Platform::current().wait(m_point, std::max(seconds, 1) * 1000000LL);
  }
  m_mutex.lock();
}

void Waiter::signal() {
  const std::lock_guard point(m_point.mutex);
  m_point.signalled = true;
  m_point.condition.notify_one();
}

void Waiter::broadcast() {
  const std::lock_guard point(m_point.mutex);
  ++m_point.broadcasts;
  m_point.condition.notify_all();
}

}  // namespace utility
