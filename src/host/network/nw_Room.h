// Which connection makes room for a new one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace services::network {

/// How far a connection has come.
enum class Progress {
  Asking,    ///< its question is not whole yet
  Waiting,   ///< it waits for us: it never makes room
  Answered,  ///< its answer is on the way
};

struct Occupant {
  std::uint32_t address;
  Progress progress;
};

/// How many connections there may be.
struct Bounds {
  std::size_t perAddress = 64;
  std::size_t all = 128;
};

/// The index of the connection, of these from the oldest to the newest, that makes room for one
/// from the address `newcomer`: one of that address where this is at its bound, else, where all
/// are, one of the address that has most that can go. It is the oldest that is asking, or without
/// such the oldest that is answered. Nothing while there is room, or when all wait for us.
std::optional<std::size_t> whoMakesRoom(std::span<const Occupant> occupants, std::uint32_t newcomer,
                                        const Bounds& bounds);

}  // namespace services::network
