// A mutex with a condition on which threads sleep in the host's time.
#pragma once

#include <mutex>

#include "util/ut_WaitPoint.h"

namespace utility {

/// A mutex and a condition in one. A signal that finds nobody waiting is remembered and ends the
/// next wait, so that a wake-up which falls between a test and the wait is not lost.
class Waiter {
 public:
  void lock() { m_mutex.lock(); }
  void unlock() { m_mutex.unlock(); }

  /// With the lock held: releases it, sleeps until a signal, a broadcast or the end of `seconds`,
  /// and takes it again. 0 or less sleeps one second, so that a period that was not given burns no
  /// processor.
  void wait(int seconds);

  /// Wakes one waiter, or the next to come. The caller may hold the lock or not.
  void signal();

  /// Wakes all present waiters. The caller may hold the lock or not.
  void broadcast();

 private:
  std::mutex m_mutex;
  WaitPoint m_point;  // with a mutex of its own, so that waking needs no lock
};

}  // namespace utility
