// The rules of pairing: serial numbers give roles, roles give actions. Nothing but values.
#pragma once

#include <string>

#include "app/pairing/app_BurnToActive.h"

namespace services::app {

/// What a controller's role depends on: serial numbers, each a text or null.
struct RoleFacts {
  const char* midplane;      ///< the midplane it sits in
  const char* lastMidplane;  ///< the midplane in which it was last loaded
  const char* partner;       ///< the controller beside it
  const char* lastPartner;   ///< the controller it was last paired with
};

/// A role and the rule that gave it, in words.
struct RoleDecision {
  BurnToActive::SyncRole role;
  const char* rule;
};

RoleDecision decideRole(const RoleFacts& facts);

/// What the local controller's actions depend on.
struct ActionFacts {
  BurnToActive::SyncRole mine;
  BurnToActive::SyncRole partner;
  char letter;              ///< of the local controller, 'A' or another
  const char* myTime;       ///< when each controller was last loaded: digits, or null. They count
  const char* partnerTime;  ///< for the firmware alone
};

/// An action and the rule that gave it, in words. A doubtful one is worth a warning.
struct ActionDecision {
  BurnToActive::SyncAction action;
  std::string rule;
  bool isDoubtful = false;
};

/// What is lacking to decide an action, in words; null when both roles are known.
const char* missingRole(BurnToActive::SyncRole mine, BurnToActive::SyncRole partner);

/// Whether the firmware action depends on the load times.
bool dependsOnLoadTimes(BurnToActive::SyncRole mine, BurnToActive::SyncRole partner);

/// The configuration and the firmware action; None where a role is missing.
ActionDecision decideConfigAction(const ActionFacts& facts);
ActionDecision decideFirmwareAction(const ActionFacts& facts);

}  // namespace services::app
