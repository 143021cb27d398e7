// What is to be seen of the machine itself, for a report.
#pragma once

#include <string>

namespace services::ops {

/// The running processes as a table: pid, parent, state, threads, KiB in memory, user, command
/// line.
std::string processTable();

/// The network interfaces with their addresses, a line each.
std::string interfaceList();

/// The name and release of the system, and how full the file systems of the host's directories are.
std::string systemLines();

/// The whole lines at the beginning of a file, of some 256 KiB at most; empty where it cannot be
/// read.
std::string beginningOf(const std::string& path);

}  // namespace services::ops
