// A controller in simulated time: daemons that come and go, and the supervision service over them.
#pragma once

#include "app/supervision/app_AppManager.h"
#include "host/machine/SimulatedPlatform.h"
#include "support/SysInfoSetting.h"

namespace test {

/// The simulated machine with a /proc of its own, the environment of a controller, and the
/// supervision service, whose thread the test lives through.
class SimulatedController {
 public:
  SimulatedController();
  /// The same with these daemons and this poll period in its properties.
  SimulatedController(const std::vector<std::string>& daemons, long pollSeconds);

  /// The properties of the service; set before build().
  void setList(const std::string& key, const Texts& entries) { set(key, listOf(entries)); }
  void setInt(const std::string& key, std::int64_t value) { set(key, value); }
  void setBool(const std::string& key, bool value) { set(key, value); }
  void setText(const std::string& key, const std::string& value) { set(key, value); }

  /// Builds the service from the properties.
  services::app::AppManager& build();

  /// Lets the monitor thread live until this second since the start.
  void runUntil(std::int64_t seconds);
  /// Does something at a time since the start.
  void at(std::int64_t seconds, std::function<void()> happening);

  /// A running process: its arguments as one text, blanks between them.
  void addProcess(int pid, const std::string& commandLine);
  /// Where it comes from.
  void setOrigin(int pid, const std::string& executable, int user, int parent) const;
  void removeProcess(int pid);
  /// Makes the init script's command (start, stop, restart) of a daemon do something.
  void onInit(const std::string& daemon, const std::string& action, std::function<void()> effect);

  void writeFile(const std::string& path, const std::string& content) const;
  std::string readFile(const std::string& path) const;

  /// The seconds at which commands that begin with the text were run.
  std::vector<std::int64_t> timesOf(const std::string& command) const;
  /// All commands that were run, those in the background with " &" behind them.
  std::vector<std::string> commandLines() const;
  bool hasFile(const std::string& path) const;

  platform::SimulatedPlatform machine;
  LogCapture log;

 private:
  template <typename Value>
  void set(const std::string& key, const Value& value) {
    m_config.set("AppManager." + key, {.value = value});
  }

  framework::Config m_config;
  std::unique_ptr<services::app::AppManager> m_manager;
};

}  // namespace test
