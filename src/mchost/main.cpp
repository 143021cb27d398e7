// mchost: the daemon that loads the services' plug-ins and runs them.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>

#include "host/console/fw_ApplicationArguments.h"
#include "host/machine/DescriptorLimit.h"
#include "mchost/Daemon.h"
#include "mchost/LifeStep.h"
#include "mchost/StopControl.h"

namespace {

// Descriptors that are missing among the first three would be given to sockets and files, which
// the log and the commands then take for the standard ones.
void openStandardDescriptors() {
  int opened = STDIN_FILENO;
  while (opened >= 0 && opened <= STDERR_FILENO) opened = ::open("/dev/null", O_RDWR);
  if (opened >= 0) ::close(opened);
}

int start(int count, char** values) {
  framework::ApplicationArguments::setArgs(
      utility::Arguments(std::vector<std::string>(values, values + count)));
  mchost::Options options;
  bool checkOnly = false;
  CLI::App parser("Runs the background services of the management controller.", "mchost");
  parser.set_version_flag("--version", "mchost " MC_VERSION);
  parser.add_option("--config", options.config, "The configuration file")->required();
  parser.add_option("--plugin", options.plugins, "A plug-in to load beside those of the file")
      ->allow_extra_args(false);
  auto* check = parser.add_flag("--check", checkOnly, "Check the configuration, build no service");
  parser
      .add_flag("--against-running", options.againstRunning,
                "Check the list of daemons against the processes that run, too")
      ->needs(check);
  auto* flight = parser.add_option("--replay", options.flight,
                                   "Decide again what this file of a flight recorder holds");
  flight->excludes(check);
  try {
    parser.parse(count, values);
  } catch (const CLI::ParseError& end) {
    return parser.exit(end) == EXIT_SUCCESS ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  if (!options.flight.empty()) return mchost::replay(options);
  return checkOnly ? mchost::check(options) : mchost::run(options);
}

}  // namespace

// What nobody catches ends the process; see LifeStep.h.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int count, char** values) {
  mchost::StopControl::blockSignals();
  openStandardDescriptors();
  ::umask(077);
  platform::raiseDescriptorLimit();
  mchost::beginStep("command line");
  return start(count, values);
}
