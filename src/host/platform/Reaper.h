// Waits for the ends of the commands that run in the background.
#pragma once

#include <sys/types.h>

#include <mutex>
#include <thread>
#include <vector>

#include "host/platform/ShellCommand.h"

namespace platform {

/// Reaps its children one by one, by pid, on a thread of its own that starts with the first.
class Reaper {
 public:
  Reaper();
  ~Reaper();
  Reaper(const Reaper&) = delete;
  Reaper& operator=(const Reaper&) = delete;

  /// Takes a child over. Any thread may call.
  void adopt(ShellCommand::Running child);

 private:
  void run();
  void takeNew();
  void reapEnded(const std::vector<short>& events);

  std::mutex m_mutex;  // guards what the adopting threads share with the reaping one
  std::vector<ShellCommand::Running> m_new;
  bool m_stop = false;
  Descriptor m_wake;  // an event counter that becomes readable when there is something new
  std::thread m_thread;

  std::vector<ShellCommand::Running> m_children;  // the reaping thread's own
};

}  // namespace platform
