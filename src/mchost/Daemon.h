// The daemon's life: reading its configuration, running its services, stopping.
#pragma once

#include <string>
#include <vector>

namespace mchost {

struct Options {
  std::string config;
  std::vector<std::string> plugins;  ///< beside those that the configuration names
  std::string flight;                ///< of a replay: the recorder's file
  bool againstRunning = false;       ///< of a check: against the processes that run now, too
};

/// Reads and checks the configuration as a start does, builds nothing, and writes each finding on a
/// line of standard error. The answer is the exit status: 0, or 1 for a configuration that a start
/// would refuse. Against the running processes, it then writes what the services would make of them
/// to standard output, and warnings to standard error.
int check(const Options& options);

/// Reads the configuration for its plug-ins, and has them decide again what a flight recorder's
/// file holds; writes the story to standard output. The answer is the exit status: 0 where this
/// build decides the same, else 1.
int replay(const Options& options);

/// Runs the services until the process is told to stop. The answer is the exit status.
int run(const Options& options);

}  // namespace mchost
