// Begins the commands that run in the background, each in its turn, and waits for their ends.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/machine/ShellCommand.h"

namespace platform {

/// Begins and reaps its children one by one, by pid, on a thread of its own that starts with the
/// first; see Platform::run() for their order. Any thread may call.
class Reaper {
 public:
  /// How many run at once of those that have not passed their limit.
  static constexpr std::size_t most = 64;

  Reaper();
  ~Reaper();
  Reaper(const Reaper&) = delete;
  Reaper& operator=(const Reaper&) = delete;

  /// Puts a command behind those that wait.
  void enqueue(const Command& command);

  /// Waits until no command waits for its turn.
  void finish();

  /// Leaves the commands that wait for their turn, and those yet to come, to a shell for each
  /// queue, which this process may not outlive.
  void handOver();

 private:
  struct Turn {
    std::string queue;  // empty: of none
    std::string line = {};
    std::int64_t limit = 0;  // microseconds
    bool keepsError = false;
    std::function<void(const utility::CommandOutcome&)> told = {};
    bool toldToWait = false;
  };
  struct Child {
    Turn turn;
    ShellCommand::Running shell = {};
    std::int64_t begun = 0;
    bool isLate = false;  // it has passed its limit and holds nobody up
  };
  // What is told once the mutex is free.
  struct News {
    std::function<void(const utility::CommandOutcome&)> told;
    utility::CommandOutcome outcome;
  };

  void run();
  std::vector<short> awaitEvents(int timeout);

  // With the mutex held.
  void wake();
  void reapEnded(const std::vector<short>& events);
  void markLate(std::int64_t now);
  void beginDue(std::int64_t now);
  void begin(Turn turn, std::int64_t now);
  void handOverWaiting();
  /// The last that began of those of a queue that have not passed their limit; null for none.
  const Child* punctualOf(const std::string& queue) const;
  std::size_t punctual() const;
  /// Milliseconds to the end of the next limit; -1 for none.
  int timeToNextLimit(std::int64_t now) const;

  void tellNews();

  std::mutex m_mutex;  // guards what follows, up to the thread
  std::condition_variable m_begun;
  std::deque<Turn> m_waiting;     // in the order of the calls
  std::vector<Child> m_children;  // only the reaping thread takes any out
  std::vector<News> m_news;
  bool m_handsOver = false;
  bool m_stop = false;
  Descriptor m_wake;  // an event counter that becomes readable when there is something new
  std::thread m_thread;
};

}  // namespace platform
