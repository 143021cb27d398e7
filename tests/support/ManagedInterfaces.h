// The service of the management interfaces on a controller in simulated time.
#pragma once

#include "app/interfaces/app_InterfaceManager.h"
#include "support/SimulatedController.h"

namespace test {

using Names = std::vector<std::string>;

constexpr const char* snmpdConf = "/cfg/etc/config/snmpd.conf";

const Names interfaceDaemons = {"telnetd", "sshd", "ftpd", "snmpd", "sfcbd", "slpd", "activityd"};

/// A controller that supervises, and mails crashes of, these daemons, at first those of all
/// interfaces.
class ManagedInterfaces {
 public:
  explicit ManagedInterfaces(const Names& daemons = interfaceDaemons) : controller(daemons, 10) {
    std::filesystem::create_directories(controller.machine.root() + "/cfg/etc/config");
    controller.writeFile("/cfg/do.crashmail", "");
    ::unsetenv("MC_CONFIG");
    controller.build();
  }

  /// Builds the service over the system information. No list: without its property.
  void build(const std::optional<Names>& managing) {
    manager.reset();
    framework::Config config;
    if (managing) config.set("InterfaceManager.managing", {.value = listOf(*managing)});
    framework::Config::setConfig(config);
    manager = std::make_unique<services::app::InterfaceManager>("InterfaceManager");
  }

  /// Lets the supervision believe a daemon to be in a state.
  static void setState(const std::string& daemon, services::app::Process::State state) {
    const auto* supervision = services::app::AppManager::getSingleton();
    auto* process = supervision->openProcess(strings::GS.toToken(daemon.c_str()));
    process->setState(state);
    supervision->closeProcess(process);
  }
  static bool isSuspended(const std::string& daemon) {
    return services::app::AppManager::getProcessSuspend(strings::GS.toToken(daemon.c_str()));
  }

  /// The commands run since the last call, those of init scripts as "DAEMON ACTION".
  Names newCommands() {
    constexpr std::size_t directory = sizeof "/app/etc/init.d/" - 1;
    Names lines = controller.commandLines();
    lines.erase(lines.begin(), lines.begin() + m_told);
    m_told += std::ssize(lines);
    for (std::string& line : lines) {
      if (!line.starts_with("/app/etc/init.d/")) continue;
      line = line.substr(directory, line.size() - directory - 2);
      line.erase(line.find('S'), 1);
    }
    return lines;
  }

  SimulatedController controller;
  std::optional<SysInfoSetting> sysInfo;
  std::unique_ptr<services::app::InterfaceManager> manager;

 private:
  std::ptrdiff_t m_told = 0;
};

}  // namespace test
