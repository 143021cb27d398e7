// Telling the service manager how the daemon fares.
#pragma once

namespace mchost {

/// Sends a state such as "READY=1" to the socket that $NOTIFY_SOCKET names, by the protocol of
/// sd_notify(3). Without the variable it does nothing.
void notify(const char* state);

}  // namespace mchost
