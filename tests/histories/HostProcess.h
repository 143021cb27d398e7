// One controller's host as a process of its own, whose time and partner are the test's.
#pragma once

#include "support/Campaign.h"

namespace test {

/// A process in which the real services of one controller live: store, pairing decisions, update
/// service, path tracker and partner link. It does what it is told and answers; its time is the
/// caller's, but each host counts it from another beginning.
class HostProcess : public Unique {
 public:
  using Texts = std::vector<std::string>;

  /// What a host says after each thing that it was told.
  struct State {
    Texts answer;                ///< of what it was told
    bool isAsking = false;       ///< its link waits for an answer of the partner
    std::int64_t updateAt = 0;   ///< when its update service wakes
    std::int64_t trackerAt = 0;  ///< when its path tracker does
    std::string path;            ///< by which it reaches the partner: "inner" or "outer"
    std::int64_t linkPause = 0;  ///< microseconds from one cycle of its link to the next
    std::string asks;            ///< the id of its ask, empty for none
    bool holds = false;          ///< that was granted
    std::string granted;         ///< the id of the ticket that it has granted
    Texts commands;              ///< that it has started
  };

  /// Starts it on the files in `root`, with "KEY=VALUE" of its configuration and of `loaded`, which
  /// are put into its store first.
  HostProcess(std::string root, char letter, Texts configuration, Texts loaded, std::int64_t now,
              std::int64_t beginning);
  ~HostProcess();

  /// Tells it one thing at that time. False when it has ended meanwhile.
  bool tell(std::int64_t now, const std::string& what);
  const State& state() const { return m_state; }

 private:
  bool hear();

  const std::int64_t m_beginning;
  pid_t m_pid = -1;
  int m_line = -1;
  State m_state;
};

}  // namespace test
