// What the crash mail of a daemon gathers of its logs, shown on the console.
#pragma once

namespace framework {
class Console;
}

namespace services::ops {

/// Runs the program that prints the logs of the daemon `name`, for at most ten seconds, and replies
/// the end of what it printed, its errors among it. Holds no lock meanwhile.
void showDaemonLogs(framework::Console& console, const char* name);

}  // namespace services::ops
