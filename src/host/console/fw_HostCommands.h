// The console commands of the host itself.
#pragma once

#include <functional>

namespace framework {

class Shell;

/// Registers help, complete, services, information, event, events, debug, log, lock, portal,
/// managedlogs, console and shutdown. `shutdown` is called on a client's thread once the reply to
/// "shutdown" was sent; it asks the main thread to stop the host and returns. The shell outlives
/// its commands.
void registerHostCommands(Shell& shell, std::function<void()> shutdown);

/// The part of them that says what can be typed: help, "?" and complete.
void registerHelpCommands(Shell& shell);

/// The part of them that shows what came of late: log tail and events.
void registerTailCommands(Shell& shell);

/// The part of them that steers the log: debug and log.
void registerLogCommands(Shell& shell);

/// The part of them about what daemons have left with the host: lock, portal and managedlogs.
void registerRegistryCommands(Shell& shell);

}  // namespace framework
