// mchost: the daemon that loads the services' plug-ins and runs them.
#include <sys/stat.h>

#include <CLI/CLI.hpp>

#include "host/framework/fw_ApplicationArguments.h"
#include "mchost/Daemon.h"

int main(int count, char** values) {
  ::umask(077);
  framework::ApplicationArguments::setArgs(
      utility::Arguments(std::vector<std::string>(values, values + count)));

  mchost::Options options;
  bool checkOnly = false;
  CLI::App parser("Runs the background services of the management controller.", "mchost");
  parser.set_version_flag("--version", "mchost " MC_VERSION);
  parser.add_option("--config", options.config, "The configuration file")->required();
  parser.add_option("--plugin", options.plugins, "A plug-in to load beside those of the file")
      ->allow_extra_args(false);
  parser.add_flag("--check", checkOnly, "Check the configuration, build no service");
  CLI11_PARSE(parser, count, values);
  return checkOnly ? mchost::check(options) : mchost::run(options);
}
