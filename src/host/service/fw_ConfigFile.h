// Reading and checking the configuration file.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "host/service/fw_Config.h"
#include "host/service/fw_ServiceFactory.h"

namespace framework {

/// What is wrong at a place of the configuration.
struct ConfigFinding {
  bool fatal;
  std::string text;  ///< "FILE:LINE: KEY: rule", one line of what is shown
};

/// The settings of the table [host].
struct HostSettings {
  std::string slot;
  std::string console = "/run/mc/console";
  std::vector<std::string> plugins;
  std::vector<std::string> services;
  bool servicesGiven = false;
  std::string logDestination = "stderr";
  std::string logLevel = "debug";
  std::vector<std::string> debug;
  std::string midplane;  ///< file of the midplane's serial number; empty for none
  int commandSeconds = 60;
};

/// A configuration file in two steps, since the rules for the instances' properties come with the
/// plug-ins that the file names.
class ConfigFile {
 public:
  /// Reads the file (TOML 1.0) and checks its syntax and the table [host].
  explicit ConfigFile(const std::string& path);

  /// Checks the directories that the environment names (MC_LOG_DIR, MC_TEMP, MC_CONFIG): they reach
  /// command lines and bounded paths, so they are safe paths of at most 48 characters.
  void checkEnvironment();

  /// Whether the file could be read as far as the names of its plug-ins. If not, what is known of
  /// the instances' rules is not enough to check them.
  bool arePluginsKnown() const;

  /// Checks the instances' tables by the rules that the loaded plug-ins registered.
  void checkInstances();

  /// Lets the services that are to be built look for what does not fit this machine, all of it
  /// warnings; for a file that is not refused.
  void checkMachine();

  /// Adds a finding of the host's own that forbids to start; line 0 is the file as a whole.
  void refuse(unsigned int line, const std::string& text) { add(true, line, text); }

  const std::vector<ConfigFinding>& findings() const { return m_findings; }
  /// Whether a finding forbids to start.
  bool isRefused() const;

  /// What the table [host] gives, defaults for what is not there or of a wrong type.
  const HostSettings& host() const { return m_host; }
  const Config& config() const { return m_config; }

 private:
  /// Keeps the properties of the file; false when it cannot be read, its syntax is wrong or [host]
  /// is no table.
  bool read();
  void checkHost();
  void checkServiceNames();
  void checkDebugFlags();
  bool isToBeBuilt(const std::string& name) const;
  /// Holds the properties of one table to its rules; `line` is where the table begins.
  void checkTable(const std::string& name, unsigned int line, std::span<const PropertyRule> rules);
  /// Warns of the variables that a service of that name misses.
  void checkVariables(const std::string& name);
  void add(bool fatal, unsigned int line, const std::string& text);

  std::string m_path;
  bool m_read = false;
  unsigned int m_hostLine = 0;  // where the table [host] begins
  std::vector<ConfigFinding> m_findings;
  std::vector<std::pair<std::string, unsigned int>> m_tables;  // the instances' tables
  Config m_config;
  HostSettings m_host;
};

}  // namespace framework
