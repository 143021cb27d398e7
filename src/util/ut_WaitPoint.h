// Where threads wait to be signalled.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace utility {

/// What a waiting thread and its waker share. Every member is guarded by `mutex`.
struct WaitPoint {
  std::mutex mutex;
  std::condition_variable condition;
  bool signalled = false;        ///< a signal that no waiter has consumed yet
  std::uint64_t broadcasts = 0;  ///< counts the wake-ups of all waiters
};

}  // namespace utility
