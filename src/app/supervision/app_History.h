// What happened to the daemons: their last transitions and restarts.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "app/supervision/app_Process.h"
#include "util/ut_Durations.h"

namespace services::app {

/// Something that happened to a daemon. The texts are cut at 80 bytes, control characters in them
/// become "?".
struct HistoryEntry {
  std::string daemon = {};
  std::int64_t at = 0;  ///< host timestamp
  Process::State from = Process::Unclassified;
  Process::State to = Process::Unclassified;  ///< the same for what changed no state
  bool restart = false;                       ///< supervision restarted it of its own accord
  int secondsDown = -1;                       ///< of what ended a time down; else -1
  std::string what = {};                      ///< the rule that decided, or what was asked for
  std::string cause = {};
  std::string outcome = {};  ///< of the command that was run; empty before its end
  std::uint64_t number = 0;  ///< given by the history, from 1 in the order of its entries
};

/// Keeps of each daemon the last entries and of all entries the sums. Memory is taken for what
/// happened alone. Any thread may call.
class History {
 public:
  static constexpr std::size_t maxEntries = 64;         // of a daemon
  static constexpr std::size_t maxEntriesOfAll = 1680;  // half a MiB as a text

  struct Summary {
    unsigned int restarts = 0;   ///< ever
    unsigned int overLimit = 0;  ///< those of them since it grew too large
    unsigned int timesDown = 0;  ///< those that ended
    std::int64_t secondsDown = 0;
    int worst = 0;  ///< seconds of the longest time down
  };

  /// Adds an entry, whose time down it works out. The oldest make room. Answers its line.
  std::string add(HistoryEntry entry);

  /// Says what became of the command of the daemon's last entry of that `what` which lacks it.
  /// Answers its line.
  std::string setOutcome(const std::string& daemon, const std::string& what,
                         std::string_view outcome);

  /// The entries of a daemon, or of all for an empty name, the oldest first.
  std::vector<HistoryEntry> entries(std::string_view daemon) const;
  /// Those that came after the entry of that number, in their order; its own need not be kept any
  /// more.
  std::vector<HistoryEntry> entriesAfter(std::uint64_t number) const;
  /// The number of the last entry; 0 before the first.
  std::uint64_t lastNumber() const;
  Summary summary(std::string_view daemon) const;

  /// How long all of them were down, each time, since the host's start.
  static constexpr std::array<std::int64_t, 6> downBounds = {1000000,  5000000,   10000000,
                                                             30000000, 120000000, 600000000};
  using TimesDown = utility::Durations<downBounds.size()>;
  TimesDown::Sums timesDown() const { return m_timesDown.sums(); }
  /// How often a daemon was restarted from that time on, as far as its entries tell.
  unsigned int restartsSince(std::string_view daemon, std::int64_t time) const;

  /// All of it as lines of a file, and back. Such a text may be followed by lines that add() and
  /// setOutcome() answered. Lines of daemons that are not among `known`, or that break the
  /// grammar, are left out; answers how many of the latter there were. Times are kept by the wall
  /// clock. A last line without its end was torn and counts for nothing.
  std::string text() const;
  unsigned int read(std::string_view text, const std::vector<std::string>& known);

 private:
  struct Daemon {
    std::deque<HistoryEntry> entries;
    Summary dropped;             // of the entries that made room
    std::int64_t downSince = 0;  // 0 while it is up
  };
  using Daemons = std::map<std::string, Daemon, std::less<>>;

  void keep(Daemon& daemon, HistoryEntry entry);
  void dropOldest(Daemon& daemon);
  void dropOldestOfAll();
  void giveOutcome(std::string_view daemon, std::string_view what, const std::string& outcome);
  bool readLine(std::string_view line, const std::vector<std::string>& known);

  mutable std::mutex m_mutex;
  Daemons m_daemons;
  std::size_t m_count = 0;
  std::uint64_t m_last = 0;  // number
  TimesDown m_timesDown{downBounds};
};

}  // namespace services::app
