// Sockets that listen, and closing one without losing who is already there.
#pragma once

#include <string>

#include "host/platform/Descriptor.h"

namespace services::http {

/// A socket that listens at this IPv4 address and port and never blocks. Connections of an earlier
/// one that still exist do not hinder it. On failure it is not open, and errno tells why.
platform::Descriptor listenAt(const std::string& address, int port);

/// Lets nobody begin a connection with a listening socket any more, while those that have begun one
/// can still be accepted. Who tries meanwhile tries again a second later, and is refused if the
/// socket is closed by then.
void turnAwayNewcomers(int listener);

/// Whether one more connection of those that had begun can be accepted. The answer takes at most 5
/// milliseconds: a connection that its client takes that long to set up is given up.
bool comesYet(int listener);

}  // namespace services::http
