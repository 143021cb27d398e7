// Processes watched by their descriptors.
#pragma once

#include <thread>

#include "host/machine/Descriptor.h"
#include "util/ut_ExitWatch.h"

namespace platform {

/// Has a descriptor of each process (pidfd_open(2)), of a number past the share that is left to
/// everyone else, and a thread that waits for them, from the first on. Where there is no such
/// descriptor or no thread, a process is not watched.
class LinuxExitWatch : public utility::ExitWatch {
 public:
  explicit LinuxExitWatch(std::function<void()> woken);
  ~LinuxExitWatch() override;
  LinuxExitWatch(const LinuxExitWatch&) = delete;
  LinuxExitWatch& operator=(const LinuxExitWatch&) = delete;

 private:
  int open(Id id, int pid) override;
  void close(int handle) override;
  void arm(std::int64_t at) override;

  bool isRunning();
  void run();
  int timeToAlarm();

  Descriptor m_events;  // of epoll(7)
  Descriptor m_wake;    // an event counter, written to when the alarm was set anew or at the end
  std::mutex m_alarmMutex;   // guards the next two
  std::int64_t m_alarm = 0;  // timestamp; 0: none
  bool m_stop = false;
  std::thread m_thread;  // begun with the mutex of the base held
};

}  // namespace platform
