// How the commands for one purpose have ended.
#pragma once

#include <atomic>
#include <cstdint>

#include "util/ut_CommandOutcome.h"

namespace utility {

/// Counts since the host's start. Any thread may call.
class OutcomeCount {
 public:
  enum class Purpose { InitScript, Mail, Push };
  struct Ends {
    std::uint64_t succeeded = 0;
    std::uint64_t failed = 0;  ///< with another status than 0, by a signal, or never begun
    std::uint64_t killed = 0;  ///< by the host
  };

  static OutcomeCount& of(Purpose purpose);

  /// Counts an end; what is told of a command before that is none.
  void note(const CommandOutcome& outcome);
  Ends ends() const { return {m_succeeded, m_failed, m_killed}; }

 private:
  std::atomic<std::uint64_t> m_succeeded = 0;
  std::atomic<std::uint64_t> m_failed = 0;
  std::atomic<std::uint64_t> m_killed = 0;
};

}  // namespace utility
