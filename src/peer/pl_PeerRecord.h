// What a controller tells its partner about itself.
#pragma once

#include <optional>
#include <string>

#include "app/pairing/app_BurnToActive.h"
#include "app/supervision/app_PartnerSummary.h"
#include "sysinfo/record/si_SysInfo.h"

namespace services::peer {

/// A push that a controller wants to make: what it would give, and to whom in which boot. The roles
/// by which it gives are those of its record.
struct Ask {
  std::string id = {};     ///< empty for none; no two asks of an enclosure have the same
  std::string kinds = {};  ///< "firmware", "settings" or "firmware-settings"
  std::string toSerial = {};
  std::string toBoot = {};

  bool gives(const char* kind) const { return kinds.find(kind) != std::string::npos; }
};

/// The answer of a controller.
struct PeerRecord {
  sysinfo::MCInfo controller;  ///< serial number, addresses, versions, pairing records
  std::string bootId;          ///< made anew at each start of its host
  std::string digest;          ///< of the settings that a push transfers
  /// Its sync role, and the partner and that partner's boot for which it was worked out.
  app::BurnToActive::SyncRole role = app::BurnToActive::Undetermined;
  std::string roleForSerial;
  std::string roleForBoot;
  /// The role of that partner by which it decides at present.
  app::BurnToActive::SyncRole partnerRole = app::BurnToActive::Undetermined;
  std::string midplane = untold;  ///< the midplane's serial number as it reads it
  Ask ask;                        ///< its wish for a push to this controller
  /// Its answer to the ask of this id: "yes", "free" (refused once, ask again), or the rule of its
  /// refusal with "_" for blanks.
  std::string verdictFor;
  std::string verdict;
  bool isUpdateDisabled = false;  ///< partner firmware update is switched off
  bool decides = true;            ///< its release carries the pairing decisions
  bool consents = false;          ///< its push programs ask for consent
  bool givesByVersions = false;   ///< without the decisions: it would push its firmware
  /// Its daemons and interfaces; nothing from a release that does not tell them. The time of its
  /// receipt is not told.
  std::optional<app::PartnerSummary> summary = {};

  /// Stands for what an earlier release does not tell.
  static constexpr const char* untold = "-";
  bool isOfOldLink() const { return midplane == untold; }
};

/// The record as text: a line KEY=VALUE for each value there is, the keys of the controller those
/// of its fields. It fits into a signed answer: of the summary as many daemons are left out as must
/// be, and then it is not whole; those that are failing come first, then those that are not up.
std::string textOf(const PeerRecord& record);
/// The part of it that is the controller's.
std::string textOf(const sysinfo::MCInfo& controller);

/// The record of such a text, or nothing when a value breaks its grammar or the serial number, the
/// MAC address or the boot id is missing; `failure` then says what, in one line. Unknown keys are
/// skipped: a newer partner may say more.
std::optional<PeerRecord> recordOf(const std::string& text, std::string& failure);

}  // namespace services::peer
