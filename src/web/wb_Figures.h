// What is counted in the services, for those who watch.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "util/ut_OutcomeCount.h"

namespace services::web {

/// How many of something were within each bound, as Prometheus counts them.
struct Distribution {
  std::vector<double> bounds;         ///< seconds
  std::vector<std::uint64_t> counts;  ///< of each bound alone, and one for all above
  double total = 0;                   ///< seconds
};

/// Values that are read once for a request. All but the role are of this host, since its start.
struct Figures {
  struct Daemon {
    std::uint64_t down = 0;       ///< restarts since it was down; ever
    std::uint64_t overLimit = 0;  ///< restarts since it grew too large; ever
    unsigned int failing = 0;     ///< restarts of late, where they are too many
  };
  std::map<std::string, Daemon, std::less<>> daemons = {};
  Distribution toScan = {}, timesDown = {}, cycles = {};
  std::optional<double> cycleAge = {};                      ///< seconds
  std::vector<std::pair<const char*, double>> memory = {};  ///< bytes, by kind
  std::optional<double> partnerSilence = {};                ///< seconds
  std::string role = {};                                    ///< of the pairing
  utility::OutcomeCount::Ends scripts = {}, mails = {}, pushes = {};
  std::uint64_t linesDropped = 0;
  unsigned int backlog = 0;  ///< files to be archived
  std::uint64_t stored = 0, unstored = 0;
  std::array<std::uint64_t, 6> requests = {};  ///< by the first digit of their status
  double processorSeconds = 0, residentBytes = 0;
};

/// Takes locks one after the other, and never the table's.
Figures readFigures();

}  // namespace services::web
