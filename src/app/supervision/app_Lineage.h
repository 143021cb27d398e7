// Whether a process that matches a daemon's record is the daemon, by where it comes from.
#pragma once

#include <string>
#include <vector>

#include "host/base/ut_ProcessDirectory.h"

namespace services::app {

/// The executable files and users of the processes that the host started as a daemon or saw first.
/// A process that comes later is the daemon's if it is a child of one of its processes, or was made
/// of the same file by the same user; else it is a stranger that only looks like it. For one thread
/// at a time.
class Lineage {
 public:
  struct Newcomer {
    utility::ProcessOrigin origin;
    bool expected = false;       ///< the host started the daemon, or has seen none of it yet
    bool parentIsKnown = false;  ///< its parent is one of the daemon's processes
    bool parentIsStranger = false;
  };

  /// Whether it is a stranger; one that is expected becomes known.
  bool isStranger(const Newcomer& newcomer);

 private:
  struct Known {
    std::string executable;
    unsigned int user;
    bool operator==(const Known&) const = default;
  };
  std::vector<Known> m_known;  // at most 8
};

}  // namespace services::app
