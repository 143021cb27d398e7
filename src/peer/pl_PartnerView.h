// What this controller knows at one moment of itself and its partner.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "app/pairing/app_BurnToActive.h"
#include "peer/pl_PeerRecord.h"

namespace services::peer {

using app::BurnToActive;

/// What this controller knows of itself.
struct ThisController {
  PeerRecord record;
  char letter = 'A';
};

/// All that is explained, refused, granted and named is worked out from one such value.
struct PartnerView {
  /// Of the decisions. It grows with each reset.
  std::uint64_t generation = 0;
  /// No reset is under way, and `decisions` are those made for `partner`. While this does not hold,
  /// no role is told.
  bool isDecided = false;
  bool isStored = true;  ///< what the partner told last; false after a try that failed
  BurnToActive::Decisions decisions = {};  ///< of this controller
  ThisController own = {};
  std::optional<PeerRecord> partner = {};  ///< its last answer, which tells what it decided by
  std::int64_t secondsSince = 0;  ///< since that, or without one since this host began to ask
  int silenceSeconds = 0;         ///< after so many a silent partner counts for nothing
  std::string failure = {};       ///< why the last question got no answer; empty when it did
};

}  // namespace services::peer
