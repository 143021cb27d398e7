// The rules of the partner link: what an answer of the partner means. Nothing but values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "peer/pl_PartnerView.h"

namespace services::peer {

/// Whether this controller has nothing left to give or to take: versions and settings are the same.
/// Versions compare as the update service compares them, so the partner's CPLD version may be
/// missing and this controller's may not; they do not count while that is switched off.
bool areEqual(const ThisController& own, const PeerRecord& partner);

/// Whether each of the two has recorded the other as its last paired partner.
bool hasPaired(const PeerRecord& one, const PeerRecord& other);
bool areConfirmed(const ThisController& own, const PeerRecord& partner);

/// Whether the partner's role counts for nothing, so that nobody pushes on a stale one: both are
/// equal, and one has not yet recorded the other.
bool isHeld(const ThisController& own, const PeerRecord& partner);

/// The partner's role, where it is determined, was worked out for this controller in its present
/// boot and is not held; else Undetermined, which means "not yet". Nor does it count while the
/// partner still decides by another role of this controller than the present one, or where only one
/// of the two releases decides by roles: by two views of the same moment both could push.
BurnToActive::SyncRole usableRole(const ThisController& own, const PeerRecord& partner);

/// Whether this controller only takes settings and has the partner's versions. A slave that learned
/// that they are equal would record the midplane, and come back as master from a restart that falls
/// before the settings: so it is told only when they are there.
bool mustTakeFirst(const ThisController& own, const PeerRecord& partner);

/// Whether a controller pushes its firmware by the versions alone, as one does whose release lacks
/// the pairing decisions.
bool givesByVersions(const PeerRecord& giver, const PeerRecord& taker);

/// Whether the update service could not compare by this controller's versions.
bool lacksVersion(const sysinfo::MCInfo& controller);
bool haveSameVersions(const sysinfo::MCInfo& own, const sysinfo::MCInfo& partner);
bool haveSameSettings(const ThisController& own, const PeerRecord& partner);

/// What the last reset was made for: of the partner, and of this controller's own records, which
/// others may change.
struct ResetFacts {
  std::string ownMidplane;
  std::string ownLoadMidplane;
  std::string ownLoadedTime;
  std::string ownLastPartner;
  std::string serial;
  std::uint64_t mac = 0;
  std::string bootId;
  std::string loadMidplane;
  std::string loadedTime;
  BurnToActive::SyncRole role = BurnToActive::Undetermined;
  BurnToActive::SyncRole told =
      BurnToActive::Undetermined;  ///< for this one, whether usable or not
  bool held = false;
  bool complete = false;  ///< the update service can work with its record
  bool alike = true;      ///< both releases decide by roles, or none does
  bool mustTakeFirst = false;
};
ResetFacts factsOf(const ThisController& own, const PeerRecord& partner);

/// Why the decisions must be made afresh, in words; null when they need not. `before` is nothing
/// while the partner is silent. An undetermined role is no reason.
const char* resetReason(const std::optional<ResetFacts>& before, const ResetFacts& now);

/// How the two stand, in words.
std::string stateText(const PartnerView& view);

/// Whether this controller should record the partner as paired.
bool shouldPair(const ThisController& own, const PeerRecord& partner);

}  // namespace services::peer
