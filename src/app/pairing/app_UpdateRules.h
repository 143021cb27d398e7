// The rules of the partner firmware update: how versions stand, and what a cycle does.
#pragma once

#include <array>

#include "app/pairing/app_BurnToActive.h"

namespace services::app {

/// The version texts of one controller, each cut at 31 characters; empty where it is unavailable.
struct VersionTexts {
  std::array<char, 32> mc{};
  std::array<char, 32> cpld{};
  std::array<char, 32> bundle{};
};

/// How the versions of both controllers stand. PartnerOlder: they differ, and at least one local
/// version is greater, by its bytes. NotCompared: firmware update is switched off.
enum class Comparison { NotCompared, Unavailable, Equal, PartnerOlder, Different };

Comparison compareVersions(const VersionTexts& local, const VersionTexts& partner);

/// What a cycle's step depends on. The actions count only with the pairing decisions.
struct UpdateFacts {
  Comparison comparison;
  bool hasDecisions;  ///< the release carries the pairing decisions
  BurnToActive::SyncAction config = BurnToActive::None;
  BurnToActive::SyncAction firmware = BurnToActive::None;
};

/// The wait before the next cycle: as before, slow, or as configured.
enum class NextWait { Unchanged, Slow, Configured };

/// What a cycle does.
struct UpdateStep {
  const char* words;    ///< for the log; null when it starts nothing
  const char* command;  ///< a shell command line in the background, or null
  NextWait wait;
};

const UpdateStep& decideUpdate(const UpdateFacts& facts);

}  // namespace services::app
