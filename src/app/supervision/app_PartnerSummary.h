// What the partner controller last told of its daemons and interfaces.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace services::app {

struct PartnerSummary {
  struct Daemon {
    std::string name;
    std::string state;          ///< as its console shows it, "Up"
    std::int64_t seconds = 0;   ///< in that state, when it was told
    unsigned int restarts = 0;  ///< within its last day
    unsigned int failures = 0;  ///< restarts of late, where they are too many; else 0
    bool suspended = false;
  };
  struct Interface {
    std::string name;
    bool up = false;
  };

  std::int64_t received = 0;  ///< host timestamp
  bool isWhole = true;        ///< false where not all daemons found room
  std::vector<Daemon> daemons = {};
  std::vector<Interface> interfaces = {};
};

/// Kept by the partner link, while one is loaded; nothing where the partner tells none. Any thread
/// may call.
void setPartnerSummary(std::optional<PartnerSummary> summary);
/// Nothing before the first; while the partner is silent the last one, as old as `received` says.
std::optional<PartnerSummary> partnerSummary();

}  // namespace services::app
