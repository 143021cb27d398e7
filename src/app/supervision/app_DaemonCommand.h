// A command that was issued for a daemon, and what has become of it.
#pragma once

#include <mutex>
#include <string>
#include <utility>

#include "util/ut_CommandOutcome.h"

namespace services::app {

/// Outlives the daemon's record where the command does. Any thread may call.
class DaemonCommand {
 public:
  /// `action` is what Process::control() was given: "start", "stop", "restart" or "kill".
  explicit DaemonCommand(std::string action) : m_action(std::move(action)) {}

  const std::string& action() const { return m_action; }

  /// What is known of it now; Waiting until something is.
  utility::CommandOutcome outcome() const {
    const std::lock_guard lock(m_mutex);
    return m_outcome;
  }
  /// The same without a copy.
  bool isEnded() const {
    const std::lock_guard lock(m_mutex);
    return m_outcome.isEnded();
  }
  void note(const utility::CommandOutcome& outcome) {
    const std::lock_guard lock(m_mutex);
    m_outcome = outcome;
  }

 private:
  const std::string m_action;
  utility::CommandOutcome m_outcome;
  mutable std::mutex m_mutex;  // guards the outcome
};

}  // namespace services::app
