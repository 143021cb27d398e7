// Watches processes for their ends, and wakes who acts on them.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace utility {

/// Processes are watched as members of groups. The end of a group's last member calls for a wake,
/// so does an order; and while it ticks it wakes every 2 seconds. Wakes are at least a tenth of a
/// second apart: what calls for one meanwhile is gathered. Any thread may call.
///
/// The machine in force derives from it and brings the ends and the time.
class ExitWatch {
 public:
  using Id = std::uint64_t;                      ///< of a watch of one process; 0 stands for none
  static constexpr std::int64_t gap = 100000;    ///< microseconds between wakes
  static constexpr std::int64_t tick = 2000000;  ///< microseconds

  /// How many scans began within so many microseconds from the end that called for them; the last
  /// bucket is for all others.
  static constexpr std::array<std::int64_t, 6> bounds = {1000, 5000, 10000, 50000, 100000, 1000000};
  using Histogram = std::array<std::uint64_t, bounds.size() + 1>;

  /// Any thread calls `woken`; it must not call the watch.
  explicit ExitWatch(std::function<void()> woken) : m_woken(std::move(woken)) {}
  virtual ~ExitWatch() = default;
  ExitWatch(const ExitWatch&) = delete;
  ExitWatch& operator=(const ExitWatch&) = delete;

  /// Watches a process from now on; 0 when it cannot be watched. The caller makes sure afterwards
  /// that the pid is still that of the process that he means.
  Id begin(int pid, const void* group);
  /// Watches it no longer; 0 does nothing.
  void end(Id id);

  /// Calls for a wake.
  void order();
  /// Begins to tick, or ends it.
  void setTicking(bool on);
  /// Whoever was woken begins to look at the processes.
  void lookBegins();
  Histogram histogram() const;
  /// The microseconds of all of them.
  std::int64_t histogramTotal() const;

  /// Wakes nobody any more.
  void stop();

 protected:
  /// Begins to watch for the end of a process, which is then told by ended(). Answers what close()
  /// is to be given, or -1.
  virtual int open(Id id, int pid) = 0;
  virtual void close(int handle) = 0;
  /// Asks for a call of due() at that timestamp, in place of any before.
  virtual void arm(std::int64_t at) = 0;

  void ended(Id id);
  void due();

 private:
  struct Member {
    int handle;
    const void* group;
    bool lives = true;
  };

  // With the mutex held.
  bool leave(const void* group);
  void callForWake();
  void plan();

  mutable std::mutex m_mutex;  // guards all that follows
  std::function<void()> m_woken;
  Id m_lastId = 0;
  std::unordered_map<Id, Member> m_members;
  std::unordered_map<const void*, unsigned int> m_living;  // of each group that has any
  bool m_wanted = false;
  std::int64_t m_lastWake = 0;
  std::int64_t m_nextTick = 0;  // 0: it does not tick
  std::int64_t m_firstEnd = 0;  // of those that nobody has looked at yet
  Histogram m_histogram{};
  std::int64_t m_histogramTotal = 0;
};

}  // namespace utility
