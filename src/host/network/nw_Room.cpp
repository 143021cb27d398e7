// Which connection makes room for a new one.
#include "host/network/nw_Room.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace services::network {

namespace {

using Occupants = std::span<const Occupant>;

std::uint32_t fullestAddress(Occupants occupants) {
  std::map<std::uint32_t, int> counts;
  for (const Occupant& occupant : occupants) {
    counts[occupant.address] += occupant.progress != Progress::Waiting ? 1 : 0;
  }
  return std::ranges::max_element(counts, {}, [](const auto& entry) { return entry.second; })
      ->first;
}

}  // namespace

std::optional<std::size_t> whoMakesRoom(Occupants occupants, std::uint32_t newcomer,
                                        const Bounds& bounds) {
  const auto own = std::ranges::count(occupants, newcomer, &Occupant::address);
  const bool addressIsFull = static_cast<std::size_t>(own) >= bounds.perAddress;
  if (!addressIsFull && occupants.size() < bounds.all) return std::nullopt;
  const std::uint32_t address = addressIsFull ? newcomer : fullestAddress(occupants);
  for (const Progress progress : {Progress::Asking, Progress::Answered}) {
    const auto found = std::ranges::find_if(occupants, [=](const Occupant& occupant) {
      return occupant.address == address && occupant.progress == progress;
    });
    if (found != occupants.end()) {
      return static_cast<std::size_t>(std::distance(occupants.begin(), found));
    }
  }
  return std::nullopt;
}

}  // namespace services::network
