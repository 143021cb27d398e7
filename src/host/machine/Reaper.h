// Waits for the ends of the commands that run in the background, and gives them their turns.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/machine/ShellCommand.h"

namespace platform {

/// Reaps its children one by one, by pid, on a thread of its own that starts with the first. The
/// same thread begins the commands of a queue, see Platform::run(). Any thread may call.
class Reaper {
 public:
  Reaper();
  ~Reaper();
  Reaper(const Reaper&) = delete;
  Reaper& operator=(const Reaper&) = delete;

  /// Takes a child over.
  void adopt(ShellCommand::Running child);

  /// Puts a command behind those of its queue.
  void enqueue(const Command& command);

  /// Waits until no command waits for its turn.
  void finish();

  /// Leaves the commands that wait for their turn, and those yet to come, to a shell for each
  /// queue, which this process may not outlive.
  void handOver();

 private:
  struct Turn {
    std::string line;
    std::int64_t limit = 0;  // microseconds for which it keeps the next waiting
    void (*tell)(Outcome outcome, const char* line) = nullptr;
  };
  struct Queue {
    std::deque<Turn> waiting;
    Turn begun;            // the last that began
    pid_t pid = 0;         // its shell's; 0 once that has ended
    std::int64_t end = 0;  // of its limit
  };

  void run();
  void reapEnded(const std::vector<short>& events);

  // With the mutex held.
  void wake();
  /// Begins what is due. Answers the time to the next that is, in milliseconds; -1 for none.
  int beginDue();
  void beginNext(Queue& queue, std::int64_t now);
  bool start(Queue& queue, const std::string& line);
  void handOver(Queue& queue);
  bool isAnyWaiting() const;

  std::mutex m_mutex;  // guards what follows, up to the thread
  std::condition_variable m_begun;
  std::vector<ShellCommand::Running> m_new;
  std::map<std::string, Queue> m_queues;
  bool m_handsOver = false;
  bool m_stop = false;
  Descriptor m_wake;  // an event counter that becomes readable when there is something new
  std::thread m_thread;

  std::vector<ShellCommand::Running> m_children;  // the reaping thread's own
};

}  // namespace platform
