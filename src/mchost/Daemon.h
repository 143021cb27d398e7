// The daemon's life: reading its configuration, running its services, stopping.
#pragma once

#include <string>
#include <vector>

namespace mchost {

struct Options {
  std::string config;
  std::vector<std::string> plugins;  ///< beside those that the configuration names
  bool againstRunning = false;       ///< of a check: against the processes that run now, too
};

/// Reads and checks the configuration as a start does, builds nothing, and writes each finding on a
/// line of standard error. The answer is the exit status: 0, or 1 for a configuration that a start
/// would refuse. Against the running processes, it then writes what the services would make of them
/// to standard output, and warnings to standard error.
int check(const Options& options);

/// Runs the services until the process is told to stop. The answer is the exit status.
int run(const Options& options);

}  // namespace mchost
