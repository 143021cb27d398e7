// The rules of the partner link: what an answer of the partner means. Nothing but values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "app/pairing/app_BurnToActive.h"
#include "peer/pl_PeerRecord.h"

namespace services::peer {

using app::BurnToActive;

/// What this controller knows of itself.
struct Own {
  PeerRecord record;
  char letter = 'A';
};

/// Whether nothing is left to give: versions and settings are the same. Versions compare as the
/// update service compares them; they do not count while that is switched off.
bool areEqual(const Own& own, const PeerRecord& partner);

/// Whether each of the two has recorded the other as its last paired partner.
bool hasPaired(const PeerRecord& one, const PeerRecord& other);
bool areConfirmed(const Own& own, const PeerRecord& partner);

/// Whether the partner's role counts for nothing, so that nobody pushes on a stale one: both are
/// equal, and one has not yet recorded the other.
bool isHeld(const Own& own, const PeerRecord& partner);

/// The partner's role, where it is determined, was worked out for this controller in its present
/// boot and is not held; else Undetermined, which means "not yet". Nor does it count while the
/// partner still decides by another role of this controller than the present one, or where only one
/// of the two releases decides by roles: by two views of the same moment both could push.
BurnToActive::SyncRole usableRole(const Own& own, const PeerRecord& partner);

/// What the last reset was made for.
struct ResetFacts {
  std::string serial;
  std::uint64_t mac = 0;
  std::string bootId;
  std::string loadMidplane;
  std::string loadedTime;
  BurnToActive::SyncRole role = BurnToActive::Undetermined;
  bool held = false;
  bool complete = false;  ///< the update service can work with its record
  bool alike = true;      ///< both releases decide by roles, or none does
};
ResetFacts factsOf(const Own& own, const PeerRecord& partner);

/// Why the decisions must be made afresh, in words; null when they need not. `before` is nothing
/// while the partner is silent. An undetermined role is no reason.
const char* resetReason(const std::optional<ResetFacts>& before, const ResetFacts& now);

/// Whether this controller should record the partner as paired.
bool shouldPair(const Own& own, const PeerRecord& partner);

/// Why the two will stay different by the rules of pairing, or push at each other, in words; null
/// when they will not.
const char* stallOf(const Own& own, const PeerRecord& partner);

}  // namespace services::peer
