// Why two controllers stay different, or silent, and what goes on from there.
#pragma once

#include <optional>
#include <string>

#include "peer/pl_PartnerView.h"

namespace services::peer {

/// A state that does not end by itself.
struct Stall {
  std::string what;
  std::string remedy;  ///< a command of this console, or what a person must do

  bool operator==(const Stall&) const = default;
};

/// The stall in which the two are, or nothing: they have nothing left to give, or one gives, or
/// more has to be heard first. Every set of facts has its answer here.
std::optional<Stall> stallOf(const PartnerView& view);

}  // namespace services::peer
