// The ways in which the daemon is told to stop, and the time that it may take.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "host/machine/Descriptor.h"

namespace mchost {

/// Watches for SIGTERM and SIGINT on a thread of its own. The first, or a request, ends
/// waitForStop(); from then on a further signal ends the process at once, commands that still run
/// after 4 seconds are killed, and a process that is still there after 5 is ended with status 1 and
/// an error line that names the step of its life (LifeStep.h) that did not end.
///
/// Made by the main thread, with the two signals blocked, before any other thread exists.
class StopControl {
 public:
  /// Holds the two signals back from this thread and those that it starts, until a StopControl
  /// takes them; the process's first act, so that none ends it on the way.
  static void blockSignals();
  /// Gives them their usual effect again, on one that came in between, too.
  static void unblockSignals();

  StopControl();
  ~StopControl();
  StopControl(const StopControl&) = delete;
  StopControl& operator=(const StopControl&) = delete;

  /// Asks for the stop; any thread may call.
  void request();

  /// Returns when the stop was asked for, by signal or by request, or after `limit`; whether it was
  /// asked for.
  bool waitForStop(std::chrono::milliseconds limit);

 private:
  void watch();
  void awaitSignal(int timeout) const;

  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_requested = false;

  platform::Descriptor m_signals;  // a descriptor from which the signals are read
  platform::Descriptor m_wake;     // an event counter: requested, or no longer needed
  platform::Descriptor m_done;     // an event counter: the process has stopped in time
  std::thread m_thread;
};

}  // namespace mchost
