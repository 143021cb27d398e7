// What a controller tells its partner about itself.
#pragma once

#include <optional>
#include <string>

#include "app/pairing/app_BurnToActive.h"
#include "sysinfo/record/si_SysInfo.h"

namespace services::peer {

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
  bool isUpdateDisabled = false;  ///< partner firmware update is switched off
  bool decides = true;            ///< its release carries the pairing decisions
};

/// The record as text: a line KEY=VALUE for each value there is, the keys of the controller those
/// of its fields.
std::string textOf(const PeerRecord& record);
/// The part of it that is the controller's.
std::string textOf(const sysinfo::MCInfo& controller);

/// The record of such a text, or nothing when a value breaks its grammar or the serial number, the
/// MAC address or the boot id is missing; `failure` then says what, in one line. Unknown keys are
/// skipped: a newer partner may say more.
std::optional<PeerRecord> recordOf(const std::string& text, std::string& failure);

}  // namespace services::peer
