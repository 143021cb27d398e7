// Sockets that listen, and closing one without losing who is already there.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "host/machine/Descriptor.h"

namespace services::network {

/// A connection that was accepted: its socket, which never blocks, and who has it.
struct Newcomer {
  platform::Descriptor socket;
  std::uint32_t address = 0;  ///< IPv4, in the network's order of bytes
};

/// A socket that listens at this IPv4 address and port and never blocks. The address need not be
/// there yet, and connections of an earlier socket that still exist do not hinder it. On failure it
/// is not open, and errno tells why.
platform::Descriptor listenAt(const std::string& address, int port);

/// Whether this machine has the IPv4 address at present.
bool isHere(const std::string& address);

/// The next connection; nothing, with errno, when there is none.
std::optional<Newcomer> acceptFrom(int listener);

/// Whether acceptFrom()'s errno means no more than that nobody waits.
bool isNobody(int error);

/// How long to poll(2) until then: milliseconds, never too few; -1 for the end of time.
int millisecondsTo(std::chrono::steady_clock::time_point time);

/// Lets nobody begin a connection with a listening socket any more, while those that have begun one
/// can still be accepted. Who tries meanwhile tries again a second later, and is refused if the
/// socket is closed by then.
void turnAwayNewcomers(int listener);

/// Whether one more connection of those that had begun can be accepted. The answer takes at most
/// this time: a connection that its client takes that long to set up is given up.
bool comesYet(int listener, int milliseconds);

}  // namespace services::network
